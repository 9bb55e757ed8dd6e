// sessions, connections.
#include <algorithm>
#include <set>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "host/live_sessions.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

using Number = std::optional<unsigned int>;

struct Connection {
    unsigned int session;
    std::string portal;
    std::string initiator_address;
    std::string state;
    std::string header_digest;
    std::string data_digest;
};

const Columns<Connection> connection_columns = {
    {"session", [](const Connection& connection) -> Value { return connection.session; }},
    {"portal", [](const Connection& connection) { return text_or_null(connection.portal); }},
    {"initiator_address",
     [](const Connection& connection) { return text_or_null(connection.initiator_address); }},
    {"state", [](const Connection& connection) { return text_or_null(connection.state); }, Look::state},
    {"header_digest", [](const Connection& connection) { return text_or_null(connection.header_digest); }},
    {"data_digest", [](const Connection& connection) { return text_or_null(connection.data_digest); }},
};

// A session keeps the name that it was made under until it is made anew.
void tell_of_other_names(const std::vector<Session>& sessions) {
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

void show_sessions(const Output& output) {
    OpenInitiator initiator;
    const std::vector<Session> sessions = live_sessions(initiator);
    output.list(session_columns(), sessions);
    tell_of_other_names(sessions);
}

/// Whether the library finds the connection, which it can only where it can name the session.
void ask_for_connection(ISCSI_Initiator& initiator, unsigned int number) {
    if (!can_be_named(number)) return;
    _SessionInformation session = {};
    session.SessionId[0] = static_cast<std::uint8_t>(number);
    kvlinopinitr::AnswerBuffer<_ConnectionInformation> answer;
    const unsigned int status =
        initiator.GetList(the_initiator, LIST_CONNECTIONS, answer.data(), answer.bytes(), &session);
    require_success(initiator, "tell all of the connection of session " + std::to_string(number), status,
                    status == iscsi_status::end_of_table ? "its SCSI host is not known" : "");
}

std::string digest(unsigned int number, const char* name) {
    const std::string used = connection_attribute(number, name);
    return used.empty() ? "" : used == "0" ? "None" : "CRC32C";
}

Connection connection_of(unsigned int number) {
    return {number,
            portal_text(sysfs_session(number)),
            host_attribute(number, "ipaddress"),
            connection_attribute(number, "state"),
            digest(number, "header_digest"),
            digest(number, "data_digest")};
}

void show_connections(const Number& number, const Output& output) {
    OpenInitiator initiator;
    unsigned int count = 0;
    require_success(initiator, "list the connections", initiator.QuerySessionCount(&count));
    if (number && !session_exists(*number)) throw no_such_session(*number);
    const std::vector<unsigned int> sessions = number ? std::vector{*number} : session_numbers();
    std::vector<Connection> connections;
    for (const unsigned int session : sessions) connections.push_back(connection_of(session));
    output.list(connection_columns, connections);
    for (const unsigned int session : sessions) ask_for_connection(initiator, session);
}

void declare_sessions(const CommandLine& command, Output& output) {
    add_listing_options(command, output, headings_of(session_columns()));
    command.on_run([&output] { show_sessions(output); });
}

void declare_connections(const CommandLine& command, Output& output) {
    const auto session = add_session_number(command);
    add_listing_options(command, output, headings_of(connection_columns));
    command.on_run([session, &output] { show_connections(*session, output); });
}

constexpr Command commands[] = {
    {"sessions", "List the live sessions", declare_sessions},
    {"connections", "List the connections of a session, or of all", declare_connections},
};

}  // namespace

std::span<const Command> session_commands() {
    return commands;
}

}  // namespace opinitctl
