#include "commands/logging_in.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "commands/secret.h"
#include "errors.h"
#include "host/host_files.h"
#include "host/node_records.h"
#include "host/sessions.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

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

/// One of the logins that a request asks for.
struct Login {
    std::string target;
    Portal portal;
    bool operator==(const Login&) const = default;
};

Names written_settings(const LoginRequest& request) {
    Names settings;
    if (request.persistent) settings.push_back("startup");
    if (request.header_digest || request.data_digest) settings.push_back("digests");
    if (request.user) settings.push_back("CHAP");
    return settings;
}

/// When each record at a portal was written: what a login writes has reached all of them, or none.
std::vector<std::pair<std::string, std::int64_t>> times_written(const Portal& portal) {
    std::vector<std::pair<std::string, std::int64_t>> times;
    for (const TargetPortal& record : node_records_at(portal)) {
        Names files = names_in(record.record);
        for (std::string& file : files) file = record.record + '/' + file;
        files.push_back(record.record);
        for (const std::string& file : files) {
            struct stat status = {};
            stat(file.c_str(), &status);
            times.emplace_back(record.target, status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec);
        }
    }
    return times;
}

/// Tells of what a login that failed has written all the same, and how it is taken back.
void tell_of_settings_left(const LoginRequest& request, const Portal& portal) {
    diagnose("written into the records of " + enumeration(targets_of(node_records_at(portal))) + " at " +
             portal.given + " all the same: " + enumeration(written_settings(request)) +
             " (\"opinitctl discover " + portal.given + "\" takes it back for all of them)");
}

Session log_in_to(const Login& login, Task task, _LoginParams& params, ISCSI_Initiator& initiator) {
    std::fill(std::begin(params.target_name), std::end(params.target_name), '\0');
    copy_text(login.target, params.target_name, longest_target_name, "a target name");
    std::copy(login.portal.address.begin(), login.portal.address.end(), params.target_address);
    params.target_port = login.portal.port;
    const Sessions before = sessions_to(login.target);
    task.what = "log in to " + login.target + " at " + login.portal.given;
    const Answer answer = run(task, [&] { return initiator.LoginTarget(&params); });
    if (answer.status != iscsi_status::already_logged_in) require_success(initiator, task.what, answer);
    return made_session(login.target, login.portal, answer, before, sessions_to(login.target));
}

void check_persistence(const Login& login, const LoginRequest& request) {
    const auto records = portals_to(login.target, node_records_at(login.portal));
    if (request.persistent && std::none_of(records.begin(), records.end(), starts_automatically)) {
        throw Failure("logged in to " + login.target +
                      ", but its record does not say that it starts automatically");
    }
}

Session log_in_and_check(const Login& login, const LoginRequest& request, const Task& task,
                         _LoginParams& params, ISCSI_Initiator& initiator) {
    const auto before = times_written(login.portal);
    try {
        const Session session = log_in_to(login, task, params, initiator);
        check_persistence(login, request);
        return session;
    } catch (Failure& failure) {
        if (!written_settings(request).empty() && times_written(login.portal) != before) {
            tell_of_settings_left(request, login.portal);
        }
        const bool is_known = !portals_to(login.target, node_records_at(login.portal)).empty();
        if (failure.code == exit_failed && !is_known) failure.code = exit_not_there;
        throw;
    }
}

// The settings of a login are written into every record of its portal.
void tell_of_wider_effects(const LoginRequest& request, const std::vector<Login>& logins) {
    const Names settings = written_settings(request);
    for (const Login& login : logins) {
        Names others = targets_of(node_records_at(login.portal));
        std::erase_if(others, [&](const std::string& name) {
            return std::find(logins.begin(), logins.end(), Login{name, login.portal}) != logins.end();
        });
        if (settings.empty() || others.empty()) continue;
        diagnose("set for the other targets recorded at " + login.portal.given +
                 ", too: " + enumeration(settings) + " (" + enumeration(others) + ")");
    }
}

std::vector<Login> logins_for(const LoginRequest& request) {
    if (request.portal && !request.target.empty()) return {{request.target, *request.portal}};
    std::vector<Login> logins;
    if (request.portal) {
        for (const std::string& target : targets_of(node_records_at(*request.portal))) {
            logins.push_back({target, *request.portal});
        }
        if (!logins.empty()) return logins;
        throw Failure("no target is recorded at " + request.portal->given + "; see \"opinitctl discover\"",
                      exit_not_there);
    }
    for (const TargetPortal& each : portals_to(request.target, node_records())) {
        // The library takes no others.
        if (!each.portal.starts_with('[')) logins.push_back({request.target, portal_in(each.portal)});
    }
    if (!logins.empty()) return logins;
    throw Failure("no IPv4 portal of " + request.target + " is recorded; see \"opinitctl discover\"",
                  exit_not_there);
}

}  // namespace

void log_in(const LoginRequest& request, const Output& output) {
    Wiped<_LoginParams> params;
    fill(params.record, request);
    const std::vector<Login> logins = logins_for(request);
    const Task task = {"log in", std::chrono::seconds(request.limit),
                       "iscsid may still be trying: look at \"opinitctl sessions\""};
    OpenInitiator initiator;
    if (logins.size() == 1) {
        output.list(session_columns(),
                    Sessions{log_in_and_check(logins[0], request, task, params.record, initiator)});
        return tell_of_wider_effects(request, logins);
    }
    Sessions sessions;
    for (const Login& login : logins) {
        try {
            sessions.push_back(log_in_and_check(login, request, task, params.record, initiator));
        } catch (const Interrupted&) {
            throw;
        } catch (const Failure& failure) {
            report(failure);
            if (task.is_over()) break;
        }
    }
    output.list(session_columns(), sessions);
    tell_of_wider_effects(request, logins);
    if (sessions.size() < logins.size()) {
        throw Failure(
            "logged in to " + std::to_string(sessions.size()) + " of " + std::to_string(logins.size()) +
            (request.portal ? " targets at " + request.portal->given : " portals of " + request.target));
    }
}

}  // namespace opinitctl
