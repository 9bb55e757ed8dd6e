// The host's initiator name, from /etc/iscsi/initiatorname.iscsi.
#pragma once

#include <cstddef>
#include <string_view>

namespace opinit {

inline constexpr std::size_t initiator_name_size = 256;

/// Longest name that the interface reports and writes.
inline constexpr std::size_t longest_initiator_name = 223;

/// Reads the name into `name`, which the caller has cleared. 0: read, or the file holds no name (`name` is
/// left as it was); -1: the file cannot be opened or read, or its name word has no name; -2: `name` then
/// holds more than 223 characters, or its word is longer than 255.
int _GetInitiatorName(char (&name)[initiator_name_size]);

/// Makes a line with this name the whole content of the file, which is created when missing. 0 written; -1
/// the file cannot be opened or written; -3 the name is longer than 223 characters.
int write_initiator_name(std::string_view name);

}  // namespace opinit
