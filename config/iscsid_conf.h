// The stack's settings file.
#pragma once

#include <string_view>

namespace opinit {

inline constexpr const char* iscsid_conf = "/etc/iscsi/iscsid.conf";

/// What separates key and value. A newline is no separator: it belongs to the token before it.
inline constexpr auto separates_setting = [](char c) { return c == ' ' || c == '='; };

/// Whether a line (never an empty text) is neither a comment nor an empty line.
inline bool may_be_setting(std::string_view line) {
    return line.front() != '#' && line.front() != '\n';
}

}  // namespace opinit
