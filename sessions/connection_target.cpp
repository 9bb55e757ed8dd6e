#include "sessions/connection_target.h"

#include <cstdlib>

#include "core/base/address.h"
#include "core/base/text.h"
#include "sessions/attribute.h"

namespace opinit {
namespace {

/// While the target is away and the session in recovery, the kernel has the attribute but no value for it.
/// What the connection was made with, and will be made with again, stands in the attribute's persistent twin.
Attribute read_attribute(const Path& connection, std::string_view name) {
    const Attribute current{Path{connection}.text(name).c_str(), connection_attribute_limit};
    if (!current.unreadable()) return current;
    const Attribute lasting{Path{connection}.text("persistent_").text(name).c_str(),
                            connection_attribute_limit};
    return lasting.opened() ? lasting : current;
}

}  // namespace

ConnectionTarget read_connection_target(int session, _ConnectionInformation& connection) {
    const Path entry = Path{"/sys/class/iscsi_connection/connection"}.number(session).text(":0/");
    const Attribute address = read_attribute(entry, "address");
    if (!address.opened()) return {false, address.missing()};
    take_address(address.word(), connection.TargetAddress);

    const Attribute port = read_attribute(entry, "port");
    if (!port.opened()) return {false, port.missing()};
    if (const auto number = scan_number(port.line(), std::strtoul)) {
        connection.TargetPort = static_cast<std::uint16_t>(*number);
    }
    const std::string_view text = address.word();
    return {true, !address.unreadable() && !port.unreadable(),
            std::string{text.find(':') != std::string_view::npos ? text : ""}};
}

Path initiator_address_path(int host) {
    return Path{"/sys/class/iscsi_host/host"}.number(static_cast<unsigned int>(host)).text("/ipaddress");
}

void take_address(std::string_view text, unsigned char* field) {
    if (text.find(':') == std::string_view::npos) parse_ip_address(field, text);
}

}  // namespace opinit
