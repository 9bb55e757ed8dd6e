#include "sessions/connection_target.h"

#include <arpa/inet.h>

#include <array>
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

bool is_ipv6(std::string_view address) {
    return address.find(':') != std::string_view::npos;
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
    return {true, !address.unreadable() && !port.unreadable(),
            is_ipv6(address.word()) ? comparable_address(address.word())
                                    : AddressText{connection.TargetAddress}.c_str()};
}

std::string comparable_address(std::string_view text) {
    const std::string given{text};
    if (!is_ipv6(text)) return given;
    const std::string plain = given.front() == '[' ? given.substr(1, given.find(']') - 1) : given;
    in6_addr address;
    std::array<char, INET6_ADDRSTRLEN> shortened;
    if (::inet_pton(AF_INET6, plain.c_str(), &address) != 1) return plain;
    return ::inet_ntop(AF_INET6, &address, shortened.data(), shortened.size());
}

Path initiator_address_path(int host) {
    return Path{"/sys/class/iscsi_host/host"}.number(static_cast<unsigned int>(host)).text("/ipaddress");
}

void take_address(std::string_view text, unsigned char* field) {
    if (!is_ipv6(text)) parse_ip_address(field, text);
}

}  // namespace opinit
