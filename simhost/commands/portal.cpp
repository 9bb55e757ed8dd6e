#include "portal.h"

#include <arpa/inet.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace simhost {
namespace {

std::optional<in6_addr> parse_ipv6(const std::string& text) {
    in6_addr address{};
    if (::inet_pton(AF_INET6, text.c_str(), &address) != 1) return std::nullopt;
    return address;
}

bool is_ipv6(std::string_view address) {
    return address.find(':') != address.npos;
}

// Cuts the address off the front, and the brackets around it.
std::string take_address(std::string_view& text) {
    const bool in_brackets = text.starts_with('[');
    const std::size_t end = in_brackets                         ? text.find(']')
                            : text.find(':') == text.rfind(':') ? text.find(':')
                                                                : text.npos;
    const std::string address(text.substr(in_brackets ? 1 : 0, in_brackets ? end - 1 : end));
    text.remove_prefix(end == text.npos ? text.size() : end + (in_brackets ? 1 : 0));
    return address;
}

}  // namespace

std::string Portal::text() const {
    return (is_ipv6(address) ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

std::string Portal::comma_text() const {
    return address + "," + std::to_string(port);
}

Portal parse_portal(std::string_view text) {
    std::string_view rest = text.substr(0, text.find(','));
    Portal portal{take_address(rest)};
    if (!rest.empty()) portal.port = static_cast<unsigned>(std::atoi(std::string(rest.substr(1)).c_str()));
    return portal;
}

bool is_address(const std::string& text) {
    in_addr ignored{};
    return ::inet_pton(AF_INET, text.c_str(), &ignored) == 1 || parse_ipv6(text);
}

bool same_place(const Portal& a, const Portal& b) {
    return a.port == b.port && kernel_form(a.address) == kernel_form(b.address);
}

std::string kernel_form(const std::string& address) {
    const auto ipv6 = parse_ipv6(address);
    if (!ipv6) return address;
    std::string text;
    for (std::size_t i = 0; i < sizeof ipv6->s6_addr; i += 2) {
        std::array<char, 8> group{};
        std::snprintf(group.data(), group.size(), "%s%02x%02x", i == 0 ? "" : ":", ipv6->s6_addr[i],
                      ipv6->s6_addr[i + 1]);
        text += group.data();
    }
    return text;
}

}  // namespace simhost
