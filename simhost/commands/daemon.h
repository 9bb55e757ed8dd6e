#pragma once

#include <sys/types.h>

#include <vector>

// The processes of the initiator daemon. Started by hand or by an init script it is two: one that does the
// work and one that only writes the log. In the foreground, as systemd has it, it is one.

namespace simhost {

enum class DaemonPart { worker, log_writer, service };

std::vector<pid_t> daemon_processes(DaemonPart part);

// Whether one is there that does the work: a log writer that was left alone answers nothing.
bool daemon_answers();

// Asks those of this part to end and waits until they are gone, and with a worker its log writer.
void end_daemon(DaemonPart part);

// Takes this process out of the session of whoever started it, with nothing on its standard streams and no
// open file that outlives the next program.
void leave_caller();

// This process goes on as that part. Does not return.
[[noreturn]] void become_daemon(DaemonPart part);

// True in a process that became one; such a process calls stay_as_daemon().
bool is_daemon_process();
[[noreturn]] void stay_as_daemon();

}  // namespace simhost
