// What one call sets.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/iscsi_records.h"

namespace opinit {

// Why a request is refused.
inline constexpr int unsupported_property = 86;
inline constexpr int repeated_property = 187;
inline constexpr int too_many_properties = -2;

struct AcceptedProperty {
    const _iSCSI_PropertyInfo* row;
    std::string key;         ///< under which it is appended
    std::string_view value;  ///< in the caller's record
};

class Request {
public:
    /// Takes the properties up to the end entry. 0, or why one was refused: the ones before it are accepted.
    /// The initiator name is written when its turn comes, before the later properties are looked at.
    int accept(_iSCSI_Property* properties);

    const std::vector<AcceptedProperty>& properties() const { return accepted_; }

    /// The property that replaces the lines of a key, or null.
    const AcceptedProperty* find(std::string_view key) const;

private:
    int accept_one(_iSCSI_Property& entry);

    std::vector<AcceptedProperty> accepted_;
    std::string keys_;  ///< "##KEY##KEY", all accepted ones
};

}  // namespace opinit
