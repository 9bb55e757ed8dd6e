// Whether a session exists, and which target it serves.
#pragma once

#include <cstddef>

namespace opinit {

inline constexpr std::size_t target_name_size = 256;

/// 1 when sysfs has an entry for that session, else 0. With `target_name`, which the caller has cleared, its
/// target's name is read too; it stays empty when the attribute cannot be read.
int find_session(int session, char (*target_name)[target_name_size] = nullptr);

}  // namespace opinit
