#include "running/command_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <system_error>

namespace opinitctl {
namespace {

class SpawnPlan {
public:
    SpawnPlan(int output, const sigset_t& mask) {
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files, output, STDERR_FILENO);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
        posix_spawnattr_setsigmask(&attributes, &mask);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
};

bool is_ignored(int signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

}  // namespace

HeldSignals::HeldSignals() {
    sigset_t held;
    sigfillset(&held);
    for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU, SIGCONT}) sigdelset(&held, signal);
    sigemptyset(&awaited_);
    sigaddset(&awaited_, SIGCHLD);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal)) sigaddset(&awaited_, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &before_);
}

int HeldSignals::wait(std::chrono::milliseconds time) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const timespec limit = {seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
    const int signal = sigtimedwait(&awaited_, nullptr, &limit);
    return signal < 0 ? 0 : signal;
}

CommandProcess::CommandProcess(const char* command, int output, const sigset_t& mask) {
    const SpawnPlan plan(output, mask);
    char shell[] = "sh", option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
    const int error = posix_spawn(&shell_, "/bin/sh", &plan.files, &plan.attributes, arguments, environ);
    if (error != 0) throw std::system_error(error, std::generic_category(), "cannot run a command");
}

bool CommandProcess::is_running() {
    ended_ = ended_ || waitpid(shell_, &status_, WNOHANG) != 0;
    return !ended_;
}

}  // namespace opinitctl
