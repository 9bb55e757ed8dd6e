#pragma once

#include <sys/types.h>

#include <functional>
#include <string_view>
#include <vector>

namespace simhost {

// Whether it comes true within two seconds.
bool wait_until(const std::function<bool()>& condition);

// False also for one that has ended and was not yet waited for.
bool is_running(pid_t process);

// The other processes whose program (the base name of what they were started as) has this name. A script
// counts as its interpreter, so an init script is never taken for the daemon of the same name.
std::vector<pid_t> processes_named(std::string_view program);

// Sends SIGTERM to them and waits until they are gone, at most two seconds. False where some remain.
bool end_processes_named(std::string_view program);

}  // namespace simhost
