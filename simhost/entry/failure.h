#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace simhost {

// As env and timeout have it: 125 is a failure of the entering itself, 126 and 127 are the shell's
// codes for a command that cannot be run or found.
inline constexpr int exit_not_entered = 125;
inline constexpr int exit_not_executable = 126;
inline constexpr int exit_not_found = 127;

[[noreturn]] inline void throw_errno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace simhost
