// Where a session's connection goes.
#pragma once

#include <string>
#include <string_view>

#include "core/base/path.h"
#include "kvlinopinitr/iscsi_records.h"

namespace opinit {

inline constexpr std::size_t connection_attribute_limit = 80;

struct ConnectionTarget {
    bool opened;               ///< whether both attributes could be opened
    bool certain;              ///< whether what they say is known: they were read, or one is not there
    std::string address = {};  ///< as text that can be compared
};

/// An address as text that can be compared: of IPv6 the kernel writes all zeros, and discovery what the
/// portal wrote, perhaps in brackets.
std::string comparable_address(std::string_view text);

/// Reads `TargetAddress` and `TargetPort`. What an attribute does not tell stays zero.
ConnectionTarget read_connection_target(int session, _ConnectionInformation& connection);

/// The attribute that holds the initiator's address on a SCSI host.
Path initiator_address_path(int host);

/// Takes an address text into the field of a record, which has no form for IPv6 and stays zero then.
void take_address(std::string_view text, unsigned char* field);

}  // namespace opinit
