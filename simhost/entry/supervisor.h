#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

namespace simhost {

// The signals that a supervising process takes itself. They are blocked before the first fork, so
// that none is lost; what is run gets the caller's own signal mask back.
class TakenSignals {
public:
    TakenSignals();
    void give_back() const;
    const sigset_t& set() const { return taken_; }

private:
    sigset_t taken_;
    sigset_t before_;
};

// Waits for `child`, reaps every other child and hands on the signals that other processes send.
// Returns the exit code: the child's own, or 128 and the number of the signal that ended it.
int supervise(pid_t child, const TakenSignals& signals, const std::function<void(pid_t)>& reaped = {});

// Replaces this process by the command; does not return.
[[noreturn]] void execute(const std::vector<std::string>& command, const TakenSignals& signals);

// Runs a command to its end, with nothing on its standard input and output, and returns its exit code.
int run_quietly(const std::vector<std::string>& command, const TakenSignals& signals);

}  // namespace simhost
