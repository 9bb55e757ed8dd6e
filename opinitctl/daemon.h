// How much of the daemon runs.
#pragma once

namespace opinitctl {

/// The daemon is two processes, of which the second only writes its log. That one alone still counts as a
/// daemon: logins then seem to be done and are not, and a start does nothing.
enum class Daemon { none, half, whole };

Daemon daemon_state();

inline constexpr const char* half_a_daemon =
    "only half of the daemon runs, the process that writes its log: logins and discoveries come to nothing "
    "(end it, \"killall iscsid\", and start the stack)";

}  // namespace opinitctl
