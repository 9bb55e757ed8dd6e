#include "login.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "diagnostics.h"
#include "errors.h"
#include "kvlinopinitr/open_initiator.h"
#include "live_sessions.h"
#include "operation.h"
#include "portal.h"
#include "secret.h"

namespace opinitctl {
namespace {

using Sessions = std::vector<_SessionInformation>;

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

void fill(_LoginParams& params, const LoginRequest& request, const Portal& portal) {
    params.node_index = the_initiator;
    copy_text(request.target, params.target_name, longest_target_name, "a target name");
    std::copy(portal.address.begin(), portal.address.end(), params.target_address);
    params.target_port = portal.port;
    params.persistent = request.persistent;
    params.header_digest = request.header_digest;
    params.data_digest = request.data_digest;
    fill_authentication(params, request);
}

Sessions sessions_to(const std::string& target, const Sessions& sessions) {
    Sessions found;
    std::copy_if(sessions.begin(), sessions.end(), std::back_inserter(found),
                 [&target](const auto& session) { return field_text(session.TargetName) == target; });
    return found;
}

const _SessionInformation* session_at(const Sessions& sessions, const Portal& portal) {
    const auto found = std::find_if(sessions.begin(), sessions.end(),
                                    [&portal](const auto& session) { return leads_to(session, portal); });
    return found == sessions.end() ? nullptr : &*found;
}

// A target may send the initiator on to another portal, so a session that is new counts wherever it leads.
const _SessionInformation* new_session(const Sessions& before, const Sessions& after) {
    const auto is_new = [&before](const auto& session) {
        return std::none_of(before.begin(), before.end(),
                            [&session](const auto& old) { return old.SessionId[0] == session.SessionId[0]; });
    };
    const auto found = std::find_if(after.begin(), after.end(), is_new);
    return found == after.end() ? nullptr : &*found;
}

// open-iscsi may report no failure and yet not have logged in, or have been logged in all along.
void show_session(const LoginRequest& request, const Portal& portal, const Answer& answer,
                  const Sessions& before, const Sessions& after, const Output& output) {
    const _SessionInformation* session = new_session(before, after);
    if (session == nullptr && (session = session_at(after, portal)) != nullptr) {
        diagnose("already logged in: session " + std::to_string(session->SessionId[0]) +
                 " existed before, and no other was made");
    }
    if (session == nullptr) {
        Failure failure("not logged in: open-iscsi reported no failure, and yet there is no session to " +
                        request.target + " at " + request.portal +
                        " (was it discovered there? \"opinitctl doctor\" tells whether the output of a login "
                        "can be read on this host)");
        failure.said = answer.said;
        throw failure;
    }
    output.list(session_columns(), {*session});
}

}  // namespace

void log_in(const LoginRequest& request, const Output& output) {
    const Portal portal = parse_portal(request.portal);
    Wiped<_LoginParams> params;
    fill(params.record, request, portal);
    OpenInitiator initiator;
    const Sessions before = sessions_to(request.target, live_sessions(initiator));
    const Task task = {"log in to " + request.target + " at " + request.portal,
                       std::chrono::seconds(request.limit),
                       "iscsid may still be trying: look at \"opinitctl sessions\""};
    const Answer answer = run(task, [&] { return initiator.LoginTarget(&params.record); });
    require_success(initiator, task.what, answer);
    show_session(request, portal, answer, before, sessions_to(request.target, live_sessions(initiator)),
                 output);
}

}  // namespace opinitctl
