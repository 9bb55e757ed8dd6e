#include "safe_text.h"

#include <iostream>

namespace opinitctl {

std::string safe_text(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string safe;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\\') {
            safe += "\\\\";
        } else if (byte >= 0x20 && byte < 0x7f) {
            safe += character;
        } else {
            safe += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return safe;
}

void show_lines(const std::vector<std::string>& lines) {
    std::cout.flush();
    for (const std::string& line : lines) std::cerr << safe_text(line) << '\n';
}

void diagnose(std::string_view message) {
    std::cout.flush();
    std::cerr << "opinitctl: " << safe_text(message) << '\n';
}

}  // namespace opinitctl
