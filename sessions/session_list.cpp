#include "sessions/session_list.h"

#include <array>
#include <optional>
#include <string_view>

#include "config/initiator_name.h"
#include "core/base/directory.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

struct RetainedConnection {
    _ConnectionInformation record;
    std::array<unsigned char, link_size> no_next;
};

/// One per session number, so the memory behind what agents were given is bounded.
std::array<RetainedConnection, 256> retained_connections;

/// A record whose entry cannot be read, or has an odd name, stays all zero.
void fill_session(std::string_view entry, const char (&initiator_name)[initiator_name_size],
                  _SessionInformation& session) {
    const Attribute target_name{session_path(entry, "/targetname").c_str(), target_name_size};
    const std::optional<std::uint8_t> number = session_number(entry);
    if (!target_name.opened() || !number) return;
    copy_text(target_name.word(), session.TargetName);
    std::memcpy(session.InitiatorName, initiator_name, sizeof initiator_name);
    session.SessionId[0] = *number;
    session.SessionHandle[0] = session.SessionId[0];
    session.ConnectionCount = 1;
    _ConnectionInformation* connection = nullptr;
    _QueryConnectionList(session.InitiatorName, session.SessionHandle, &connection);
    session.Connections = connection;
}

}  // namespace

SessionList::~SessionList() {
    if (connections_retained_) return;
    for (_SessionInformation* session = first(); session != nullptr; session = next_record(session)) {
        free_record_list(session->Connections, sizeof(_ConnectionInformation));
    }
}

void SessionList::retain_connections() {
    for (_SessionInformation* session = first(); session != nullptr; session = next_record(session)) {
        if (session->Connections == nullptr) continue;
        RetainedConnection& retained = retained_connections[session->SessionHandle[0]];
        retained.record = *session->Connections;
        free_record_list(session->Connections, sizeof(_ConnectionInformation));
        session->Connections = &retained.record;
    }
    connections_retained_ = true;
}

int read_sessions(SessionList& sessions, unsigned int& count) {
    const Listing entries{session_class, skip_dot_entries};
    if (entries.empty()) return -2;

    char initiator_name[initiator_name_size] = {};
    _GetInitiatorName(initiator_name);
    for (const std::string_view entry : entries) {
        _SessionInformation* session = sessions.append();
        if (session == nullptr) return 12;
        fill_session(entry, initiator_name, *session);
    }
    count = static_cast<unsigned int>(entries.size());
    return 0;
}

}  // namespace opinit
