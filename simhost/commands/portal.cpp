#include "portal.h"

#include <arpa/inet.h>

#include "failure.h"
#include "files.h"

namespace simhost {

std::string Portal::text() const {
    return address + ":" + std::to_string(port);
}

std::string Portal::comma_text() const {
    return address + "," + std::to_string(port);
}

Portal parse_portal(std::string_view text) {
    const auto colon = text.find(':');
    Portal portal{std::string(text.substr(0, colon))};
    in_addr ignored{};
    if (::inet_pton(AF_INET, portal.address.c_str(), &ignored) != 1) {
        throw Failure(status::invalid, "cannot resolve host name " + portal.address);
    }
    if (colon == text.npos) return portal;
    const auto port = parse_number(text.substr(colon + 1));
    if (!port || *port == 0 || *port > 65535) {
        throw Failure(status::invalid, "invalid port in portal " + std::string(text));
    }
    portal.port = *port;
    return portal;
}

}  // namespace simhost
