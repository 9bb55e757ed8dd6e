#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "commands.h"
#include "daemon.h"
#include "failure.h"
#include "files.h"
#include "processes.h"

namespace simhost {
namespace {

void fork_part(DaemonPart part) {
    const pid_t child = ::fork();
    if (child < 0) ::_exit(1);
    if (child > 0) return;
    if (part == DaemonPart::worker) write_file("/run/iscsid.pid", std::to_string(::getpid()) + "\n", 0600);
    become_daemon(part);
}

// The process in between ends at once, so that both daemon processes become children of init.
[[noreturn]] void start_pair() {
    leave_caller();
    fork_part(DaemonPart::log_writer);
    fork_part(DaemonPart::worker);
    ::_exit(0);
}

// Both ends close on exec: the read ends when both processes have become daemons.
void wait_for_daemons(int ready) {
    char byte;
    while (::read(ready, &byte, 1) < 0 && errno == EINTR) {
    }
    ::close(ready);
}

int run_in_background() {
    const std::size_t left_alone = daemon_processes(DaemonPart::log_writer).size();
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) throw Failure(1, std::strerror(errno));
    const pid_t child = ::fork();
    if (child < 0) throw Failure(1, std::strerror(errno));
    if (child == 0) start_pair();
    ::close(ready[1]);
    wait_for_daemons(ready[0]);
    ::waitpid(child, nullptr, 0);
    // A process closes its files a moment before its new command line shows.
    const bool both_run = wait_until([left_alone] {
        return daemon_answers() && daemon_processes(DaemonPart::log_writer).size() == left_alone + 1;
    });
    return both_run ? 0 : 1;
}

}  // namespace

// That another one runs already is told to the system's log alone.
int iscsid(int argc, char** argv) {
    const bool in_foreground = argc == 2 && std::strcmp(argv[1], "-f") == 0;
    if (argc > 1 && !in_foreground) {
        throw Failure(status::invalid, std::string("option not simulated: ") + argv[1]);
    }
    if (daemon_answers()) return 1;
    if (in_foreground) become_daemon(DaemonPart::service);
    return run_in_background();
}

}  // namespace simhost
