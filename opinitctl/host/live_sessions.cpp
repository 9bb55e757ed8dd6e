#include "host/live_sessions.h"

#include <algorithm>

#include "host/host_files.h"
#include "host/portal.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "running/operation.h"

namespace opinitctl {
namespace {

using Record = _SessionInformation;

// The record of a session that cannot be named was filled under another number.
std::string initiator_address(const Record& record, unsigned int number) {
    const bool usable = record.Connections != nullptr && can_be_named(number);
    const std::string address = usable ? known_address(record.Connections->InitiatorAddress) : "";
    return address.empty() ? host_attribute(number, "ipaddress") : address;
}

Session session_of(const Record& record, const SysfsSession& live) {
    return {live.number,         live.target,
            portal_text(live),   number_in(live.tag),
            live.state,          initiator_address(record, live.number),
            live.initiator_name, record.ConnectionCount};
}

std::vector<Record> session_records(ISCSI_Initiator& initiator) {
    kvlinopinitr::AnswerBuffer<Record> answer;
    unsigned int count = 0;
    const unsigned int status = initiator.QuerySessionList(answer.data(), &count, answer.bytes());
    if (status == iscsi_status::no_such_session) return {};
    require_success(initiator, "list the sessions", status);
    return answer.records();
}

}  // namespace

// Both are in the order of the whole numbers, so the low 8 bits suffice to bring them together.
std::vector<Session> live_sessions(ISCSI_Initiator& initiator) {
    const std::vector<Record> records = session_records(initiator);
    const std::vector<SysfsSession> live = sysfs_sessions();
    std::vector<Session> sessions;
    auto next = live.begin();
    for (const Record& record : records) {
        const auto found = std::find_if(next, live.end(), [&record](const SysfsSession& each) {
            return each.number % 256 == record.SessionId[0];
        });
        if (found == live.end()) continue;
        sessions.push_back(session_of(record, *found));
        next = found + 1;
    }
    return sessions;
}

std::vector<Session> sessions_to(const std::string& target, std::vector<Session> sessions) {
    std::erase_if(sessions, [&target](const Session& session) { return session.target != target; });
    return sessions;
}

const Columns<Session>& session_columns() {
    static const Columns<Session> columns = {
        {"session", [](const Session& session) -> Value { return session.number; }},
        {"target", [](const Session& session) { return text_or_null(session.target); }, Look::text},
        {"portal", [](const Session& session) { return text_or_null(session.portal); }},
        {"group_tag", [](const Session& session) { return number_or_null(session.group_tag); }, Look::plain,
         Shown::on_request},
        {"state", [](const Session& session) { return text_or_null(session.state); }, Look::state},
        {"initiator_address", [](const Session& session) { return text_or_null(session.initiator_address); }},
        {"initiator_name", [](const Session& session) { return text_or_null(session.initiator_name); },
         Look::text, Shown::on_request},
        {"connections", [](const Session& session) -> Value { return session.connections; }, Look::plain,
         Shown::on_request},
    };
    return columns;
}

bool can_be_named(unsigned int number) {
    return number < 256;
}

Failure no_such_session(unsigned int number) {
    return Failure("there is no session " + std::to_string(number), exit_not_there);
}

}  // namespace opinitctl
