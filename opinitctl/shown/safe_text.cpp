#include "shown/safe_text.h"

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

}  // namespace opinitctl
