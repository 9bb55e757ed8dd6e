#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "processes.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

constexpr const char* daemon_mark = "SIMHOST_DAEMON_PROCESS";

fs::path process_entry() {
    return "/proc/" + std::to_string(::getpid());
}

// /proc is a plain folder in the simulated host; a link makes this process visible there.
void show_process() {
    std::error_code ignored;
    fs::create_symlink(run_directory / process_entry().relative_path(), process_entry(), ignored);
}

sigset_t end_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGQUIT}) sigaddset(&set, number);
    return set;
}

void leave_caller() {
    ::setsid();
    if (::chdir("/") != 0) ::_exit(1);
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {0, 1, 2}) ::dup2(null, stream);
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
}

// Runs this program anew, so that the process's command line is the daemon's path and nothing else, and its
// name is the daemon's.
[[noreturn]] void become_daemon() {
    leave_caller();
    const sigset_t blocked = end_signals();
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    show_process();
    ::setenv(daemon_mark, "1", 1);
    char path[] = "/sbin/iscsid";
    char* const arguments[] = {path, nullptr};
    ::execv((run_directory / "bin/iscsid").c_str(), arguments);
    std::error_code ignored;
    fs::remove(process_entry(), ignored);
    ::_exit(1);
}

// The process in between ends at once, so that both daemon processes become children of init.
[[noreturn]] void start_pair() {
    for (int i = 0; i < 2; ++i) {
        const pid_t child = ::fork();
        if (child == 0) become_daemon();
        if (child < 0) ::_exit(1);
    }
    ::_exit(0);
}

// Both ends close on exec: the read ends when both processes have become daemons.
void wait_for_daemons(int ready) {
    char byte;
    while (::read(ready, &byte, 1) < 0 && errno == EINTR) {
    }
    ::close(ready);
}

}  // namespace

bool is_daemon_process() {
    return std::getenv(daemon_mark) != nullptr;
}

void stay_as_daemon() {
    const sigset_t awaited = end_signals();
    int received = 0;
    ::sigwait(&awaited, &received);
    std::error_code ignored;
    fs::remove(process_entry(), ignored);
    ::_exit(0);
}

int iscsid(int argc, char** argv) {
    if (argc > 1) throw Failure(status::invalid, std::string("option not simulated: ") + argv[1]);
    if (!processes_named("iscsid").empty()) throw Failure(1, "an iscsid is running already");
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) throw Failure(1, std::strerror(errno));
    const pid_t child = ::fork();
    if (child < 0) throw Failure(1, std::strerror(errno));
    if (child == 0) start_pair();
    ::close(ready[1]);
    wait_for_daemons(ready[0]);
    ::waitpid(child, nullptr, 0);
    // A process closes its files a moment before its new command line shows.
    return wait_for_processes_named("iscsid", 2) ? 0 : 1;
}

}  // namespace simhost
