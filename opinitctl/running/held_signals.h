// Signals that would end the program, held back while it has something to clean up.
#pragma once

#include <chrono>
#include <csignal>

namespace opinitctl {

/// While it lives, no signal but SIGKILL ends this process; Ctrl-Z still stops it. A signal that the program
/// was started to ignore stays ignored.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
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

}  // namespace opinitctl
