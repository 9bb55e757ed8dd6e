// login, logout.
#include <algorithm>
#include <vector>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "commands/logging_in.h"
#include "errors.h"
#include "host/host_files.h"
#include "host/live_sessions.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

using Numbers = std::vector<unsigned int>;

// The interface would take such a number for the session that has its low 8 bits.
Failure not_to_be_named(unsigned int number) {
    const unsigned int other = number % 256;
    const std::string text = std::to_string(number);
    return Failure(
        "cannot log out of session " + text + ": the interface carries the low 8 bits of a number " +
        (session_exists(other) ? "and would end session " + std::to_string(other) + " instead" : "only") +
        " (\"iscsiadm -m session -r " + text + " -u\" does it)");
}

void log_out(ISCSI_Initiator& initiator, unsigned int number) {
    if (!can_be_named(number)) {
        if (!session_exists(number)) throw no_such_session(number);
        throw not_to_be_named(number);
    }
    std::array<unsigned char, 16> session = {static_cast<unsigned char>(number)};
    const Task task = {"log out of session " + std::to_string(number)};
    const Answer answer = run(task, [&] { return initiator.LogoutTarget(the_initiator, session.data()); });
    require_success(initiator, task.what, answer);
    if (session_exists(number)) {
        throw contradiction(answer, "session " + std::to_string(number) + " is still there");
    }
}

std::string sentence(const Numbers& ended) {
    if (ended.empty()) return "no session was ended";
    std::string text = ended.size() == 1 ? "logged out of session" : "logged out of sessions";
    for (const unsigned int number : ended) text += ' ' + std::to_string(number);
    return text;
}

void log_out_of_all(ISCSI_Initiator& initiator, const std::vector<Session>& sessions, const Output& output) {
    Numbers ended;
    for (const Session& session : sessions) {
        try {
            log_out(initiator, session.number);
            ended.push_back(session.number);
        } catch (const Interrupted&) {
            throw;
        } catch (const Failure& failure) {
            report(failure);
        }
    }
    output.done(sentence(ended), {{"sessions", values_of(ended)}});
    if (ended.size() < sessions.size()) {
        throw Failure("logged out of " + std::to_string(ended.size()) + " of " +
                      std::to_string(sessions.size()) + " sessions");
    }
}

struct LogoutRequest {
    std::string session_or_target;
    bool all = false;
};

void log_out(const LogoutRequest& request, const Output& output) {
    if (request.all != request.session_or_target.empty()) {
        throw UsageError("logout needs a session, a target or --all");
    }
    OpenInitiator initiator;
    if (const auto number = number_in(request.session_or_target)) {
        log_out(initiator, *number);
        return output.done(sentence({*number}), {{"sessions", Values{*number}}});
    }
    std::vector<Session> sessions = live_sessions(initiator);
    if (!request.all) sessions = sessions_to(request.session_or_target, std::move(sessions));
    if (sessions.empty() && !request.all) {
        throw Failure("there is no session to " + request.session_or_target, exit_not_there);
    }
    log_out_of_all(initiator, sessions, output);
}

void add_chap(const CommandLine& command, LoginRequest& request) {
    const Option user = command.add("--chap-user NAME", into(request.user), "CHAP name of this initiator");
    const Option user_in =
        command.add("--chap-user-in NAME", into(request.user_in), "CHAP name of the target (mutual CHAP)");
    constexpr const char* secret = "File with its secret; \"-\" for standard input; asked for if left out";
    command.add("--chap-secret-file FILE", into(request.secret_file), secret).needs(user);
    command.add("--chap-secret-in-file FILE", into(request.secret_in_file), secret).needs(user_in);
    user_in.needs(user);
}

void declare_login(const CommandLine& command, Output& output) {
    const auto request = std::make_shared<LoginRequest>();
    const Option target =
        command.add("TARGET", into(request->target), "Name of a target that was discovered");
    const Option portal = command.add("PORTAL", into(request->portal), portal_description);
    const Option all = command.add("--all PORTAL", into(request->portal),
                                   "Log in to every target that is recorded at the portal");
    all.excludes(target).excludes(portal);
    add_chap(command, *request);
    command.add_flag("--persistent", request->persistent, "Log in at every start of the stack");
    command.add_flag("--header-digest", request->header_digest, "Ask for CRC32C header digests");
    command.add_flag("--data-digest", request->data_digest, "Ask for CRC32C data digests");
    add_time_limit(command, request->limit);
    add_listing_options(command, output, headings_of(session_columns()));
    command.add_note(
        "Startup, digests and CHAP are settings of the portal's node records: they reach every target that "
        "is "
        "recorded there.");
    command.on_run([request, portal, all, &output] {
        if (!portal.was_given() && !all.was_given())
            throw UsageError("login needs TARGET and PORTAL, or --all PORTAL");
        log_in(*request, output);
    });
}

void declare_logout(const CommandLine& command, Output& output) {
    const auto request = std::make_shared<LogoutRequest>();
    command.add("SESSION|TARGET", into(request->session_or_target),
                "Number of a session, or the target whose sessions are meant");
    command.add_flag("--all", request->all, "Log out of every session");
    command.on_run([request, &output] { log_out(*request, output); });
}

constexpr Command commands[] = {
    {"login", "Log in to a target, or to all of a portal, and show the sessions", declare_login},
    {"logout", "Log out of a session, of a target, or of all", declare_logout},
};

}  // namespace

std::span<const Command> login_commands() {
    return commands;
}

}  // namespace opinitctl
