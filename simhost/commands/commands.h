#pragma once

// The entry points of the commands. Each gets its own name and arguments as a main() would, and returns
// the exit code.

namespace simhost {

int iscsiadm(int argc, char** argv);
int iscsid(int argc, char** argv);
int killall(int argc, char** argv);
int modprobe(int argc, char** argv);
int rmmod(int argc, char** argv);
int systemctl(int argc, char** argv);

int add_session(int argc, char** argv);
int drop_session(int argc, char** argv);
int session_state(int argc, char** argv);

}  // namespace simhost
