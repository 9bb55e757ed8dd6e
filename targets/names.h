// Names of portals and targets, as the databases and the commands write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/path.h"

namespace opinit {

/// "ADDRESS,PORT": a portal's directory in a discovery database.
Path portal_directory(std::string_view address, std::string_view port);

/// "ADDRESS:PORT": a portal on a command line; an IPv6 address stands in brackets.
std::string portal_argument(std::string_view address, int port);

/// The pieces of a portal directory's name, which must outlive them.
struct PortalName {
    std::string_view address;
    std::string_view port;

    std::uint16_t port_number() const;
};

/// Nothing for a name without a comma.
std::optional<PortalName> parse_portal_name(std::string_view name);

/// The pieces of an entry of a portal directory, "TARGET,ADDRESS,PORT,TAG,INTERFACE", whose name must outlive
/// them.
struct TargetEntry {
    std::string_view target;
    std::string_view address;  ///< shorter than 80 characters
    std::uint32_t port;
    std::uint8_t tag;
};

/// The target of such an entry, at less expense.
inline std::string_view target_of(std::string_view name) {
    return name.substr(0, name.find(','));
}

/// Nothing for a name with fewer than four commas or with a longer address.
std::optional<TargetEntry> parse_target_entry(std::string_view name);

}  // namespace opinit
