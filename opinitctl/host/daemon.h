// How much of the daemon runs.
#pragma once

#include <string>
#include <vector>

namespace opinitctl {

/// The daemon is two processes, of which the second only writes its log. That one alone still counts as a
/// daemon: logins then seem to be done and are not, and a start does nothing. In the foreground, as systemd
/// may run it, the daemon is one process.
enum class Daemon { none, half, whole };

Daemon daemon_state();

/// Numbers of the processes that count as a daemon's.
std::vector<std::string> daemon_processes();

/// The words that a process was started with; none where there is no such process.
std::vector<std::string> command_line(const std::string& process);

inline constexpr const char* half_a_daemon =
    "only half of the daemon runs, the process that writes its log: logins and discoveries come to nothing "
    "(end it, \"killall iscsid\", and start the stack)";

}  // namespace opinitctl
