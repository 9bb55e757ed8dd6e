// The live sessions' entries in sysfs.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/base/path.h"
#include "core/base/text.h"

namespace opinit {

inline constexpr const char* session_class = "/sys/class/iscsi_session";
inline constexpr std::size_t target_name_size = 256;

/// What stands below a session's entry, as in "/targetname".
inline Path session_path(std::string_view entry, std::string_view below) {
    return Path{session_class}.text("/").text(entry).text(below);
}

/// The number in the name of an entry, which is "session5", as records carry it: one byte. Nothing for an odd
/// name.
inline std::optional<std::uint8_t> session_number(std::string_view entry) {
    constexpr std::string_view prefix = "session";
    if (!entry.starts_with(prefix)) return std::nullopt;
    const auto number = scan_number(entry.data() + prefix.size(), std::strtol);
    return number ? std::optional{static_cast<std::uint8_t>(*number)} : std::nullopt;
}

/// 1 when sysfs has an entry for that session, else 0. With `target_name`, which the caller has cleared, its
/// target's name is read too; it stays empty when the attribute cannot be read.
int find_session(int session, char (*target_name)[target_name_size] = nullptr);

/// How many sessions there are; nothing when that cannot be told.
std::optional<unsigned int> count_sessions();

}  // namespace opinit
