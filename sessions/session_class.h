// The live sessions' entries in sysfs.
#pragma once

#include <optional>
#include <string_view>

#include "core/base/path.h"

namespace opinit {

inline constexpr const char* session_class = "/sys/class/iscsi_session";

/// What stands below a session's entry, as in "/targetname".
inline Path session_path(std::string_view entry, std::string_view below) {
    return Path{session_class}.text("/").text(entry).text(below);
}

/// How many sessions there are; nothing when that cannot be told.
std::optional<unsigned int> count_sessions();

}  // namespace opinit
