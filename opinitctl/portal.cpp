#include "portal.h"

#include <arpa/inet.h>

#include <algorithm>

#include "arguments.h"
#include "errors.h"

namespace opinitctl {
namespace {

bool looks_like_ipv6(const std::string& text) {
    return text.find('[') != text.npos || std::count(text.begin(), text.end(), ':') > 1;
}

std::uint16_t parse_port(const std::string& text) {
    const auto port = static_cast<std::uint16_t>(parse_number(text, 65535, "the port of a portal"));
    if (port == 0) throw UsageError("port 0 is not the port of a portal");
    return port;
}

}  // namespace

Portal parse_portal(const std::string& text) {
    if (looks_like_ipv6(text)) {
        throw UsageError("\"" + text +
                         "\" is an IPv6 portal; only IPv4 portals, ADDRESS[:PORT], are supported");
    }
    Portal portal = {};
    const std::size_t colon = text.find(':');
    if (inet_pton(AF_INET, text.substr(0, colon).c_str(), portal.address.data()) != 1) {
        throw UsageError("\"" + text + "\" is not a portal: ADDRESS[:PORT] with an IPv4 address is needed");
    }
    if (colon != text.npos) portal.port = parse_port(text.substr(colon + 1));
    return portal;
}

std::string address_text(const unsigned char* address) {
    std::array<char, INET_ADDRSTRLEN> text = {};
    return inet_ntop(AF_INET, address, text.data(), text.size());
}

std::string portal_text(const unsigned char* address, std::uint32_t port) {
    return address_text(address) + ':' + std::to_string(port);
}

}  // namespace opinitctl
