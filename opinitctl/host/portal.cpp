#include "host/portal.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>

#include "errors.h"
#include "host/host_files.h"

namespace opinitctl {
namespace {

bool looks_like_ipv6(const std::string& text) {
    return text.find('[') != text.npos || std::count(text.begin(), text.end(), ':') > 1;
}

// The kernel shows all zeros of an IPv6 address. Empty for any other text.
std::string short_ipv6(const std::string& text) {
    in6_addr address = {};
    std::array<char, INET6_ADDRSTRLEN> shortened = {};
    if (inet_pton(AF_INET6, text.c_str(), &address) != 1) return "";
    return inet_ntop(AF_INET6, &address, shortened.data(), shortened.size());
}

std::string text_of(const unsigned char* address) {
    std::array<char, INET_ADDRSTRLEN> text = {};
    return inet_ntop(AF_INET, address, text.data(), text.size());
}

// Of numbers the resolver would make other addresses than are meant.
bool may_be_a_name(const std::string& host) {
    return std::any_of(host.begin(), host.end(),
                       [](unsigned char letter) { return std::isalpha(letter) != 0; });
}

std::array<unsigned char, 4> address_of(const std::string& host) {
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    addrinfo* list = nullptr;
    const int error = may_be_a_name(host) ? getaddrinfo(host.c_str(), nullptr, &wanted, &list) : EAI_NONAME;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> found(list, freeaddrinfo);
    if (error != 0) {
        throw UsageError("\"" + host +
                         "\" is not a portal: ADDRESS[:PORT] is needed, an IPv4 address or the name " +
                         "of a host that has one (" + gai_strerror(error) + ")");
    }
    std::array<unsigned char, 4> address;
    std::memcpy(address.data(), &reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr,
                address.size());
    return address;
}

}  // namespace

std::string Portal::address_text() const {
    return text_of(address.data());
}

std::string Portal::text() const {
    return portal_text(address_text(), std::to_string(port));
}

Portal portal_in(const std::string& text) {
    if (looks_like_ipv6(text)) {
        throw UsageError("\"" + text +
                         "\" is an IPv6 portal; only IPv4 portals, ADDRESS[:PORT], are supported");
    }
    Portal portal = {text, {}};
    const std::size_t colon = text.find(':');
    const std::string host = text.substr(0, colon);
    if (inet_pton(AF_INET, host.c_str(), portal.address.data()) != 1) portal.address = address_of(host);
    if (colon == text.npos) return portal;
    const std::string port = text.substr(colon + 1);
    const auto number = number_in(port);
    if (!number || *number == 0 || *number > 65535) {
        throw UsageError("\"" + port + "\" is not the port of a portal, a number from 1 to 65535");
    }
    portal.port = static_cast<std::uint16_t>(*number);
    return portal;
}

std::string portal_text(const std::string& address, const std::string& port) {
    if (address.empty()) return "";
    const std::string ipv6 = short_ipv6(address);
    return (ipv6.empty() ? address : '[' + ipv6 + ']') + ':' + port;
}

}  // namespace opinitctl
