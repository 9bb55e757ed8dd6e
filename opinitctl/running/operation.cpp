#include "running/operation.h"

#include "host/daemon.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

bool is_about_the_stack(unsigned int status) {
    return status == iscsi_status::stack_not_installed || status == iscsi_status::initiator_not_started;
}

std::string in_brackets(const std::string& advice) {
    return advice.empty() ? "" : " (" + advice + ")";
}

int exit_code_of(unsigned int status) {
    switch (status) {
        case iscsi_status::no_such_session:
        case iscsi_status::target_not_found:
            return exit_not_there;
        case iscsi_status::stack_not_installed:
        case iscsi_status::initiator_not_started:
            return exit_not_running;
        default:
            return exit_failed;
    }
}

}  // namespace

std::string message_of(ISCSI_Initiator& initiator, unsigned int status) {
    switch (status) {
        case iscsi_status::module_not_loaded:
            return "The kernel module iscsi_tcp does not load.";
        case iscsi_status::end_of_table:
            return "-1, a failure without a message of its own.";
        default:
            return initiator.GetErrStr(static_cast<int>(status));
    }
}

Answer conclude(const Task& task, CommandRunner& runner, unsigned int status) {
    if (const int signal = runner.interruption()) {
        throw Interrupted(signal, "interrupted" + in_brackets(task.when_given_up));
    }
    Answer answer = {status, runner.said()};
    if (runner.timed_out()) {
        Failure failure("cannot " + task.what + ": gave up after " + std::to_string(task.limit.count()) +
                        " s" + in_brackets(task.when_given_up));
        failure.said = answer.said;
        throw failure;
    }
    if (CommandRunner::shows_commands && status == iscsi_status::success) show_lines(answer.said);
    return answer;
}

void require_success(ISCSI_Initiator& initiator, const std::string& what, const Answer& answer,
                     const std::string& hint) {
    if (answer.status == iscsi_status::success) return;
    std::string text = "cannot " + what + ": " + std::to_string(answer.status);
    const std::string message = message_of(initiator, answer.status);
    if (!message.empty()) text += ": " + message;
    text += in_brackets(is_about_the_stack(answer.status) ? "\"opinitctl doctor\" tells why" : hint);
    Failure failure(text, exit_code_of(answer.status));
    failure.status = answer.status;
    failure.said = answer.said;
    throw failure;
}

void require_running_or_tell(bool nothing_to_show) {
    if (check_stack_running() != 0) return;
    OpenInitiator initiator;
    unsigned int count = 0;
    if (nothing_to_show) require_success(initiator, "list the sessions", initiator.QuerySessionCount(&count));
    diagnose(
        "the stack does not run: the sessions live on in the kernel, and cannot be logged out of before it "
        "is "
        "started");
}

Failure contradiction(const Answer& answer, const std::string& what) {
    Failure failure(
        "open-iscsi reported no failure, and yet " + what + " (" +
        (daemon_state() == Daemon::half
             ? half_a_daemon
             : "\"opinitctl doctor\" tells whether what commands print can be read on this host") +
        ")");
    failure.said = answer.said;
    return failure;
}

}  // namespace opinitctl
