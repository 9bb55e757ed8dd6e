#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace simhost {

// Whether, within two seconds, as many processes run the program.
bool wait_for_processes_named(std::string_view program, std::size_t count);

// The other processes whose program (the base name of what they were started as) has this name. A script
// counts as its interpreter, so an init script is never taken for the daemon of the same name.
std::vector<pid_t> processes_named(std::string_view program);

// Sends SIGTERM to them and waits until they are gone, at most two seconds. False where some remain.
bool end_processes_named(std::string_view program);

}  // namespace simhost
