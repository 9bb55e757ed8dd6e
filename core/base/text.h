// Text into the fixed fields of records.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace opinit {

/// Copies as much of the text, up to a NUL in it, as the field holds with its terminator; the rest of the
/// field stays as it was.
template <std::size_t size>
void copy_text(std::string_view text, char (&field)[size]) {
    field[text.substr(0, text.find('\0')).copy(field, size - 1)] = '\0';
}

/// What scanf takes by "%d" or "%u", which is what strtol or strtoul converts; nothing where there is no
/// number.
template <class Convert>
auto scan_number(const char* text, Convert convert) {
    char* end;
    const auto number = convert(text, &end, 10);
    return end != text ? std::optional{number} : std::nullopt;
}

/// The text of a field that may lack its terminator.
template <std::size_t size>
std::string_view field_text(const char (&field)[size]) {
    const std::string_view whole{field, size};
    return whole.substr(0, whole.find('\0'));
}

}  // namespace opinit
