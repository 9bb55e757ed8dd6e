#include "supervisor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "failure.h"

namespace simhost {

namespace {

int exit_code(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::optional<int> reap_all(pid_t child, const std::function<void(pid_t)>& reaped) {
    std::optional<int> code;
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (reaped) reaped(pid);
        if (pid == child) code = exit_code(status);
    }
    return code;
}

}  // namespace

TakenSignals::TakenSignals() {
    sigemptyset(&taken_);
    for (const int signal : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2}) {
        sigaddset(&taken_, signal);
    }
    // A caller that ignores SIGCHLD would leave nothing to wait for.
    signal(SIGCHLD, SIG_DFL);
    sigprocmask(SIG_BLOCK, &taken_, &before_);
}

void TakenSignals::give_back() const {
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int supervise(pid_t child, const TakenSignals& signals, const std::function<void(pid_t)>& reaped) {
    for (;;) {
        siginfo_t info = {};
        const int signal = sigwaitinfo(&signals.set(), &info);
        if (signal == SIGCHLD) {
            if (const auto code = reap_all(child, reaped)) return *code;
        } else if (signal > 0 && info.si_code <= 0) {
            // What the terminal sends has a code above zero and has reached the child already.
            kill(child, signal);
        }
    }
}

void execute(const std::vector<std::string>& command, const TakenSignals& signals) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    signals.give_back();
    execvp(arguments[0], arguments.data());
    const int code = errno == ENOENT ? exit_not_found : exit_not_executable;
    std::fprintf(stderr, "simhost/enter: %s: %s\n", arguments[0], std::strerror(errno));
    _exit(code);
}

int run_quietly(const std::vector<std::string>& command, const TakenSignals& signals) {
    const pid_t child = fork();
    if (child < 0) throw_errno("cannot start " + command.front());
    if (child == 0) {
        const int nothing = open("/dev/null", O_RDWR);
        dup2(nothing, STDIN_FILENO);
        dup2(nothing, STDOUT_FILENO);
        execute(command, signals);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) throw_errno("cannot wait for " + command.front());
    }
    return exit_code(status);
}

}  // namespace simhost
