#include "shown/safe_text.h"

#include <cwchar>

namespace opinitctl {
namespace {

/// How many bytes at the beginning are a character beyond ASCII that the locale can print, and that takes
/// room of its own: others may turn the direction of what follows. 0 where they are none.
std::size_t printable(std::string_view text) {
    std::mbstate_t state = {};
    wchar_t character = 0;
    const std::size_t size = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool is_one = size > 1 && size <= text.size();
    return is_one && wcwidth(character) > 0 ? size : 0;
}

template <class Keep>
std::string escaped(std::string_view text, Keep keep) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string safe;
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t size = byte >= 0x20 && byte < 0x7f ? 1 : keep(text);
        if (byte == '\\') safe += '\\';
        if (size == 0) {
            safe += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
            size = 1;
        } else {
            safe += text.substr(0, size);
        }
        text.remove_prefix(size);
    }
    return safe;
}

}  // namespace

std::string ascii_text(std::string_view text) {
    return escaped(text, [](std::string_view) { return std::size_t{0}; });
}

std::string safe_text(std::string_view text) {
    return escaped(text, printable);
}

}  // namespace opinitctl
