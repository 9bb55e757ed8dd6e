// Text into the fixed fields of records.
#pragma once

#include <cstddef>
#include <string_view>

namespace opinit {

/// Copies as much of the text, up to a NUL in it, as the field holds with its terminator; the rest of the
/// field stays as it was.
template <std::size_t size>
void copy_text(std::string_view text, char (&field)[size]) {
    field[text.substr(0, text.find('\0')).copy(field, size - 1)] = '\0';
}

/// The text of a field that may lack its terminator.
template <std::size_t size>
std::string_view field_text(const char (&field)[size]) {
    const std::string_view whole{field, size};
    return whole.substr(0, whole.find('\0'));
}

}  // namespace opinit
