// Calling an operation of the interface and judging its status.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "errors.h"
#include "kvlinopinitr/iscsi_initiator.h"
#include "kvlinopinitr/iscsi_status.h"
#include "running/command_runner.h"

namespace opinitctl {

/// The host has one initiator.
inline constexpr int the_initiator = 1;

/// An operation that runs commands.
struct Task {
    std::string what;                ///< as in "cannot WHAT"
    std::chrono::seconds limit{0};   ///< zero is none
    std::string when_given_up = "";  ///< what a person should know then
    CommandRunner::Clock::time_point begin = CommandRunner::Clock::now();

    bool is_over() const { return limit.count() > 0 && CommandRunner::Clock::now() - begin >= limit; }
};

struct Answer {
    unsigned int status;
    std::vector<std::string> said = {};  ///< what the commands printed, line by line
};

/// Ends the task: an Interrupted after a signal, a Failure when the time is over.
Answer conclude(const Task& task, CommandRunner& runner, unsigned int status);

/// Runs an operation that runs commands.
template <class Operation>
Answer run(const Task& task, Operation operation) {
    CommandRunner runner(task.what, task.limit, task.begin);
    return conclude(task, runner, operation());
}

/// The message of a status, also of the two for which the interface has none; empty for others.
std::string message_of(ISCSI_Initiator& initiator, unsigned int status);

/// A Failure unless the status is 0: what could not be done, the number, its message, the hint, and what was
/// said.
void require_success(ISCSI_Initiator& initiator, const std::string& what, const Answer& answer,
                     const std::string& hint = "");

inline void require_success(ISCSI_Initiator& initiator, const std::string& what, unsigned int status,
                            const std::string& hint = "") {
    require_success(initiator, what, Answer{status}, hint);
}

/// Where the stack does not run: a Failure if there is nothing to show, else a line that says so.
void require_running_or_tell(bool nothing_to_show);

/// For a task that counts as done although `what` shows that it is not.
Failure contradiction(const Answer& answer, const std::string& what);

}  // namespace opinitctl
