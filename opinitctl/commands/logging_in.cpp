#include "commands/logging_in.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "commands/secret.h"
#include "errors.h"
#include "host/live_sessions.h"
#include "host/node_records.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

using Sessions = std::vector<Session>;

constexpr std::size_t longest_target_name = 223;

template <std::size_t Size>
void copy_text(const std::string& text, char (&field)[Size], std::size_t longest, const char* what) {
    if (text.empty() || text.size() > longest) {
        throw UsageError(std::string(what) + " has 1 to " + std::to_string(longest) + " characters");
    }
    text.copy(field, text.size());
}

template <std::size_t Size>
void copy_user(const std::string& user, char (&field)[Size]) {
    copy_text(user, field, Size - 1, "a CHAP name");
}

void fill_authentication(_LoginParams& params, const LoginRequest& request) {
    if (!request.user) return;
    if (request.secret_file == standard_input && request.secret_in_file == standard_input) {
        throw UsageError("standard input can give one secret only");
    }
    params.auth_method = 1;
    copy_user(*request.user, params.username);
    read_secret(request.secret_file, *request.user, params.password);
    if (!request.user_in) return;
    params.auth_method = 2;
    copy_user(*request.user_in, params.username_in);
    read_secret(request.secret_in_file, *request.user_in, params.password_in);
}

void fill(_LoginParams& params, const LoginRequest& request) {
    params.node_index = the_initiator;
    std::copy(request.portal.address.begin(), request.portal.address.end(), params.target_address);
    params.target_port = request.portal.port;
    params.persistent = request.persistent;
    params.header_digest = request.header_digest;
    params.data_digest = request.data_digest;
    fill_authentication(params, request);
}

const Session* session_at(const Sessions& sessions, const Portal& portal) {
    const auto found = std::find_if(sessions.begin(), sessions.end(), [&portal](const Session& session) {
        return session.portal == portal.text();
    });
    return found == sessions.end() ? nullptr : &*found;
}

// A target may send the initiator on to another portal, so a session that is new counts wherever it leads.
const Session* new_session(const Sessions& before, const Sessions& after) {
    const auto is_new = [&before](const Session& session) {
        return std::none_of(before.begin(), before.end(),
                            [&session](const Session& old) { return old.number == session.number; });
    };
    const auto found = std::find_if(after.begin(), after.end(), is_new);
    return found == after.end() ? nullptr : &*found;
}

// open-iscsi may report no failure and yet not have logged in, or have been logged in all along.
Session made_session(const std::string& target, const Portal& portal, const Answer& answer,
                     const Sessions& before, const Sessions& after) {
    const Session* session = new_session(before, after);
    if (session == nullptr && (session = session_at(after, portal)) != nullptr) {
        diagnose("already logged in to " + target + ": session " + std::to_string(session->number) +
                 " existed before, and no other was made");
    }
    if (session == nullptr) {
        throw contradiction(answer, "there is no session to " + target + " at " + portal.given +
                                        "; was it discovered there?");
    }
    return *session;
}

Session log_in_to(const std::string& target, const LoginRequest& request, _LoginParams& params,
                  ISCSI_Initiator& initiator) {
    std::fill(std::begin(params.target_name), std::end(params.target_name), '\0');
    copy_text(target, params.target_name, longest_target_name, "a target name");
    const Sessions before = sessions_to(target, live_sessions(initiator));
    const Task task = {"log in to " + target + " at " + request.portal.given,
                       std::chrono::seconds(request.limit),
                       "iscsid may still be trying: look at \"opinitctl sessions\""};
    const Answer answer = run(task, [&] { return initiator.LoginTarget(&params); });
    if (answer.status != iscsi_status::already_logged_in) require_success(initiator, task.what, answer);
    return made_session(target, request.portal, answer, before,
                        sessions_to(target, live_sessions(initiator)));
}

// The settings of a login are written into every record of its portal.
void tell_of_wider_effects(const LoginRequest& request) {
    if (!request.persistent && !request.header_digest && !request.data_digest && !request.user) return;
    const Names others = without(targets_of(node_records_at(request.portal)), {request.target});
    if (others.empty() || request.target.empty()) return;
    Names settings;
    if (request.persistent) settings.push_back("startup");
    if (request.header_digest || request.data_digest) settings.push_back("digests");
    if (request.user) settings.push_back("CHAP");
    diagnose("set for the other targets recorded at " + request.portal.given +
             ", too: " + enumeration(settings) + " (" + enumeration(others) + ")");
}

void check_persistence(const std::string& target, const LoginRequest& request) {
    const auto records = portals_to(target, node_records_at(request.portal));
    if (request.persistent && std::none_of(records.begin(), records.end(), starts_automatically)) {
        throw Failure("logged in to " + target +
                      ", but its record does not say that it starts automatically");
    }
}

Names targets_at(const Portal& portal) {
    Names targets = targets_of(node_records_at(portal));
    if (targets.empty()) {
        throw Failure("no target is recorded at " + portal.given + "; see \"opinitctl discover\"",
                      exit_not_there);
    }
    return targets;
}

void log_in_to_all(const LoginRequest& request, _LoginParams& params, ISCSI_Initiator& initiator,
                   const Output& output) {
    const Names targets = targets_at(request.portal);
    Sessions sessions;
    for (const std::string& target : targets) {
        try {
            sessions.push_back(log_in_to(target, request, params, initiator));
            check_persistence(target, request);
        } catch (const Interrupted&) {
            throw;
        } catch (const Failure& failure) {
            report(failure);
        }
    }
    output.list(session_columns(), sessions);
    if (sessions.size() < targets.size()) {
        throw Failure("logged in to " + std::to_string(sessions.size()) + " of " +
                      std::to_string(targets.size()) + " targets at " + request.portal.given);
    }
}

}  // namespace

void log_in(const LoginRequest& request, const Output& output) {
    Wiped<_LoginParams> params;
    fill(params.record, request);
    OpenInitiator initiator;
    if (request.target.empty()) {
        log_in_to_all(request, params.record, initiator, output);
    } else {
        const Session session = log_in_to(request.target, request, params.record, initiator);
        check_persistence(request.target, request);
        output.list(session_columns(), Sessions{session});
        tell_of_wider_effects(request);
    }
}

}  // namespace opinitctl
