// A shell command and the processes it leaves behind; signals that wait for it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>

namespace opinitctl {

/// While it lives, no signal but SIGKILL ends this process; Ctrl-Z still stops it. A signal that the program
/// was started to ignore stays ignored.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    /// Waits for the next signal: a request to end, or SIGCHLD. 0 when the time is over.
    int wait(std::chrono::milliseconds time) const;

    /// What a command is to start with.
    const sigset_t& mask_before() const { return before_; }

private:
    sigset_t before_;
    sigset_t awaited_;
};

/// Runs in a process group of its own, so that the keyboard's signals reach this program alone and it can end
/// all of them together. Reads nothing.
class CommandProcess {
public:
    /// Prints into `output`. A std::system_error where no process can be had.
    CommandProcess(const char* command, int output, const sigset_t& mask);

    /// Whether the shell has not ended yet.
    bool is_running();
    /// Whether any process of the group is left. One that made itself a daemon is not.
    bool has_members() const { return kill(-shell_, 0) == 0; }
    void send(int signal) const { kill(-shell_, signal); }
    /// The shell's wait status, once it has ended.
    int status() const { return status_; }

private:
    pid_t shell_ = -1;
    int status_ = 0;
    bool ended_ = false;
};

}  // namespace opinitctl
