// sessions, connections.
#include "host/sessions.h"

#include <set>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

using Number = std::optional<unsigned int>;

// A session keeps the name that it was made under until it is made anew.
void tell_of_other_names(const Sessions& sessions) {
    _InitiatorNode node = {};
    unsigned int bytes = 0;
    OpenInitiator initiator;
    if (sessions.empty() || initiator.GetInitiatorList(&node, &bytes) != iscsi_status::success) return;
    const std::string name = field_text(node.initiator_name);
    std::set<std::string> others;
    for (const Session& session : sessions) {
        const std::string& own = session.initiator_name;
        if (!own.empty() && own != name) others.insert(own);
    }
    for (const std::string& other : others) {
        diagnose("some sessions were made under the name " + other + ", and the initiator is called " + name +
                 " now: log in anew to use it");
    }
}

Sessions sessions_meant(const Number& number) {
    const Sessions sessions = number ? Sessions{live_session(*number)} : live_sessions();
    require_running_or_tell(sessions.empty());
    return sessions;
}

void show_sessions(const Number& number, const Output& output) {
    const Sessions sessions = sessions_meant(number);
    output.list(session_columns(), sessions);
    tell_of_other_names(sessions);
}

void show_connections(const Number& number, const Output& output) {
    output.list(connection_columns(), sessions_meant(number));
}

template <const Columns<Session>& (*columns)(), void (*show)(const Number&, const Output&)>
void declare(const CommandLine& command, Output& output) {
    const auto session = add_session_number(command);
    add_listing_options(command, output, headings_of(columns()));
    command.on_run([session, &output] { show(*session, output); });
}

constexpr Command commands[] = {
    {"sessions", "List the live sessions, or one", declare<session_columns, show_sessions>},
    {"connections", "List the connections of a session, or of all",
     declare<connection_columns, show_connections>},
};

}  // namespace

std::span<const Command> session_commands() {
    return commands;
}

}  // namespace opinitctl
