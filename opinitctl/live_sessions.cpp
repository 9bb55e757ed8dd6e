#include "live_sessions.h"

#include <algorithm>

#include "answer_buffer.h"
#include "arguments.h"
#include "operation.h"

namespace opinitctl {
namespace {

Json session_portal(const _SessionInformation& session) {
    if (session.Connections == nullptr) return {};
    return portal_text(session.Connections->TargetAddress, session.Connections->TargetPort);
}

Json session_initiator_address(const _SessionInformation& session) {
    return session.Connections == nullptr ? Json() : known_address(session.Connections->InitiatorAddress);
}

}  // namespace

std::vector<_SessionInformation> live_sessions(ISCSI_Initiator& initiator) {
    AnswerBuffer<_SessionInformation> answer;
    unsigned int count = 0;
    const unsigned int status = initiator.QuerySessionList(answer.data(), &count, answer.bytes());
    if (status == iscsi_status::no_such_session) return {};
    require_success(initiator, "list the sessions", status);
    return answer.records();
}

std::array<unsigned char, 16> session_identifier(const std::string& number) {
    return {static_cast<unsigned char>(parse_number(number, 255, "a session number"))};
}

bool leads_to(const _SessionInformation& session, const Portal& portal) {
    if (session.Connections == nullptr) return false;
    return std::equal(portal.address.begin(), portal.address.end(), session.Connections->TargetAddress) &&
           session.Connections->TargetPort == portal.port;
}

const Columns<_SessionInformation>& session_columns() {
    using Session = _SessionInformation;
    static const Columns<Session> columns = {
        {"session", [](const Session& session) -> Json { return session.SessionId[0]; }},
        {"target", [](const Session& session) { return text_or_null(field_text(session.TargetName)); },
         Look::text},
        {"portal", session_portal},
        {"initiator_address", session_initiator_address},
        {"connections",
         [](const Session& session) -> Json { return std::uint16_t{session.ConnectionCount}; }},
    };
    return columns;
}

Json known_address(const unsigned char* address) {
    const bool known = std::any_of(address, address + 4, [](unsigned char byte) { return byte != 0; });
    return known ? Json(address_text(address)) : Json();
}

}  // namespace opinitctl
