// Portals of targets: as they are given on the command line, and as they are shown.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace opinitctl {

inline constexpr std::uint16_t default_port = 3260;

struct Portal {
    std::string given;
    std::array<unsigned char, 4> address;
    std::uint16_t port = default_port;

    bool operator==(const Portal&) const = default;

    std::string address_text() const;
    std::string text() const;
};

inline constexpr const char* portal_description =
    "ADDRESS[:PORT] with an IPv4 address or the name of a host; the port is 3260 if left out";

/// The portal that a word of the command line names; a UsageError says what is wrong with it.
Portal portal_in(const std::string& text);

/// ADDRESS:PORT, an IPv6 address in brackets; empty without an address.
std::string portal_text(const std::string& address, const std::string& port);

}  // namespace opinitctl
