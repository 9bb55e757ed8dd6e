#include "core/base/address.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace opinit {
namespace {

/// As strtol reads a piece: numbers beyond its range stick at the limit, text gives 0.
unsigned char component(std::string_view piece) {
    std::array<char, address_text_size> digits{};
    piece.copy(digits.data(), digits.size() - 1);
    return static_cast<unsigned char>(std::strtol(digits.data(), nullptr, 10));
}

}  // namespace

void parse_ip_address(unsigned char* output, std::string_view text) {
    std::array<unsigned char, address_field_size> bytes{};
    std::size_t count = 0;
    while (count < bytes.size()) {
        const std::size_t start = text.find_first_not_of('.');
        if (start == std::string_view::npos) break;
        text.remove_prefix(start);
        const std::string_view piece = text.substr(0, text.find('.'));
        bytes[count++] = component(piece);
        text.remove_prefix(piece.size());
    }
    std::copy_n(bytes.begin(), count, output);
}

void format_ip_address(const unsigned char* address, char (&text)[address_text_size], int family) {
    if (family != AF_INET) return;
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", unsigned{address[0]}, unsigned{address[1]},
                  unsigned{address[2]}, unsigned{address[3]});
}

AddressText::AddressText(const unsigned char* address) {
    format_ip_address(address, text_, AF_INET);
}

}  // namespace opinit
