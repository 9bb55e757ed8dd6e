// A target portal as it is given on the command line.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace opinitctl {

inline constexpr std::uint16_t default_port = 3260;

struct Portal {
    std::array<unsigned char, 4> address;
    std::uint16_t port = default_port;
};

/// ADDRESS[:PORT] with a dotted IPv4 address; a UsageError says what is wrong with it.
Portal parse_portal(const std::string& text);

std::string portal_text(const unsigned char* address, std::uint32_t port);
std::string address_text(const unsigned char* address);

}  // namespace opinitctl
