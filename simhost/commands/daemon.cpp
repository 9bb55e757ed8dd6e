#include "daemon.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "files.h"
#include "processes.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

constexpr const char* part_variable = "SIMHOST_DAEMON_PART";
constexpr std::array part_names = {"worker", "log_writer", "service"};

const char* name_of(DaemonPart part) {
    return part_names[static_cast<std::size_t>(part)];
}

fs::path process_entry() {
    return "/proc/" + std::to_string(::getpid());
}

// /proc is a plain folder in the simulated host; a link makes this process visible there.
void show_process() {
    std::error_code ignored;
    fs::create_symlink(run_directory / process_entry().relative_path(), process_entry(), ignored);
}

sigset_t end_signal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    return set;
}

bool is_part(pid_t process, DaemonPart part) {
    const auto environment = read_file(run_directory / "proc" / std::to_string(process) / "environ");
    const std::string mark = std::string(part_variable) + "=" + name_of(part) + '\0';
    return environment && environment->find(mark) != std::string::npos;
}

// A worker and its log writer are one process group.
std::vector<pid_t> group_of(pid_t worker) {
    std::vector<pid_t> group;
    for (const pid_t process : processes_named("iscsid")) {
        if (::getpgid(process) == ::getpgid(worker)) group.push_back(process);
    }
    return group;
}

}  // namespace

std::vector<pid_t> daemon_processes(DaemonPart part) {
    std::vector<pid_t> found;
    for (const pid_t process : processes_named("iscsid")) {
        if (is_part(process, part)) found.push_back(process);
    }
    return found;
}

bool daemon_answers() {
    return !daemon_processes(DaemonPart::worker).empty() || !daemon_processes(DaemonPart::service).empty();
}

void end_daemon(DaemonPart part) {
    for (const pid_t process : daemon_processes(part)) {
        const std::vector<pid_t> group = group_of(process);
        ::kill(process, SIGTERM);
        wait_until([&group] {
            return std::none_of(group.begin(), group.end(), [](pid_t member) { return is_running(member); });
        });
    }
}

void leave_caller() {
    ::setsid();
    if (::chdir("/") != 0) ::_exit(1);
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {0, 1, 2}) ::dup2(null, stream);
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
}

// Runs this program anew, so that its command line is the daemon's and its environment tells its part.
void become_daemon(DaemonPart part) {
    const sigset_t blocked = end_signal();
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    ::signal(SIGINT, SIG_IGN);
    show_process();
    ::setenv(part_variable, name_of(part), 1);
    char path[] = "/sbin/iscsid";
    char in_foreground[] = "-f";
    char* const arguments[] = {path, part == DaemonPart::service ? in_foreground : nullptr, nullptr};
    ::execv((run_directory / "bin/iscsid").c_str(), arguments);
    std::error_code ignored;
    fs::remove(process_entry(), ignored);
    ::_exit(1);
}

bool is_daemon_process() {
    return std::getenv(part_variable) != nullptr;
}

// A worker takes its log writer with it. The file with its number stays behind, as a real one's does.
void stay_as_daemon() {
    const sigset_t awaited = end_signal();
    int received = 0;
    ::sigwait(&awaited, &received);
    if (std::string_view(std::getenv(part_variable)) == name_of(DaemonPart::worker)) {
        ::kill(0, SIGTERM);
    }
    std::error_code ignored;
    fs::remove(process_entry(), ignored);
    ::_exit(0);
}

}  // namespace simhost
