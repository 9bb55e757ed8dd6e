#pragma once

#include <sys/types.h>

namespace simhost {

// /proc of the host: a folder of its own with a file of loaded modules, since a machine's kernel may
// have none or show its real ones. Of the processes it lists those that were shown; all else leads to
// the real process file system, which is mounted aside.
void make_process_table();

// True when a process was still listed that the end of an earlier visit took with it; it is no more.
bool forget_old_processes();

void show_process(pid_t process);
void hide_process(pid_t process);

}  // namespace simhost
