// Splitting text at separator characters.
#pragma once

#include <algorithm>
#include <string_view>

namespace opinit {

/// Takes the next token off the front of `text`: runs of separators count as one, leading ones are skipped.
/// Empty when there is none left.
inline std::string_view next_token(std::string_view& text, std::string_view separators) {
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    const std::string_view token = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(token.size());
    return token;
}

}  // namespace opinit
