// Splitting text at separator characters.
#pragma once

#include <algorithm>
#include <string_view>

namespace opinit {

inline constexpr auto is_white_space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };

/// Takes the next token off the front of `text`: runs of separators count as one, leading ones are skipped.
/// Empty when there is none left.
template <class Separates>
std::string_view next_token(std::string_view& text, Separates separates) {
    const auto begin = std::find_if_not(text.begin(), text.end(), separates);
    text.remove_prefix(static_cast<std::size_t>(begin - text.begin()));
    const auto end = std::find_if(text.begin(), text.end(), separates);
    const std::string_view token = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(token.size());
    return token;
}

}  // namespace opinit
