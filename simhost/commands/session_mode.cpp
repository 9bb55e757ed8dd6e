#include <algorithm>
#include <cstdio>

#include "daemon_connection.h"
#include "failure.h"
#include "files.h"
#include "iscsiadm.h"
#include "live_sessions.h"
#include "login.h"
#include "session_entries.h"

namespace simhost {
namespace {

std::string label(const LiveSession& session) {
    return "[sid: " + std::to_string(session.sid) + ", target: " + session.target +
           ", portal: " + session.portal.comma_text() + "]";
}

int list(const std::vector<LiveSession>& sessions) {
    if (sessions.empty()) {
        complain("No active sessions.");
        return status::none_found;
    }
    for (const LiveSession& session : sessions) {
        std::printf("tcp: [%u] %s,%s %s (non-flash)\n", session.sid, session.portal.text().c_str(),
                    session.tag.c_str(), session.target.c_str());
    }
    return status::ok;
}

bool logout_one(const LiveSession& session) {
    if (!reach_daemon()) {
        complain("Could not logout of " + label(session) + ".");
        complain(reported_error(status::no_daemon));
        return false;
    }
    remove_session(session.sid);
    std::printf("Logout of %s successful.\n", label(session).c_str());
    return true;
}

int logout(const std::vector<LiveSession>& sessions) {
    for (const LiveSession& session : sessions) {
        std::printf("Logging out of session %s\n", label(session).c_str());
    }
    const auto gone = std::count_if(sessions.begin(), sessions.end(), logout_one);
    if (gone > 0) return status::ok;
    complain("No matching sessions found");
    return status::none_found;
}

int logout_numbered(const std::string& text) {
    const auto sid = parse_number(text);
    if (!sid) throw Failure(status::invalid, "session mode: invalid session number '" + text + "'");
    for (const LiveSession& session : live_sessions()) {
        if (session.sid == *sid) return logout({session});
    }
    complain("could not read session targetname: 5");
    complain("Could not get session info for sid " + text);
    return status::no_session_info;
}

}  // namespace

int logout_of(const NodeFilter& nodes) {
    std::vector<LiveSession> chosen;
    for (const LiveSession& session : live_sessions()) {
        const bool other_target = nodes.target && *nodes.target != session.target;
        const bool other_portal = nodes.portal && *nodes.portal != session.portal;
        if (!other_target && !other_portal) chosen.push_back(session);
    }
    return logout(chosen);
}

int session_mode(const Request& request) {
    const bool shows_one = request.session && !request.logout;
    if (request.operation || request.login || shows_one) refuse(request);
    if (request.session) return logout_numbered(*request.session);
    return request.logout ? logout_of({}) : list(live_sessions());
}

}  // namespace simhost
