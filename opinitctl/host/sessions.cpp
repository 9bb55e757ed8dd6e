#include "host/sessions.h"

#include <algorithm>

#include "host/host_files.h"
#include "host/portal.h"

namespace opinitctl {
namespace {

constexpr const char* session_class = "/sys/class/iscsi_session";

// Of a session in recovery some attributes exist and cannot be read.
std::string attribute(const std::string& path) {
    const std::string value = text_in(path);
    return value == "(null)" || value == "<NULL>" ? "" : value;
}

std::string in_small_letters(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// While its target is away, a connection has no peer, and tells the portal that it was made for.
std::string portal_of(const std::string& connection, const std::string& configured) {
    const std::string address = attribute(connection + "address");
    return address.empty() ? configured : portal_text(address, attribute(connection + "port"));
}

std::string digest(const std::string& used) {
    return used.empty() ? "" : used == "0" ? "None" : "CRC32C";
}

// Today the link of the class entry names the SCSI host, formerly the link to the device did.
std::string host_of(unsigned int number) {
    for (const std::string& link :
         {link_text(session_path(number, "")), link_text(session_path(number, "/device"))}) {
        for (const std::string& part : split(link, '/')) {
            if (part.starts_with("host")) return part;
        }
    }
    return "unknown";
}

Session session_of(unsigned int number) {
    const std::string connection = "/sys/class/iscsi_connection/connection" + std::to_string(number) + ":0/";
    const std::string configured =
        portal_text(attribute(connection + "persistent_address"), attribute(connection + "persistent_port"));
    const std::string portal = portal_of(connection, configured);
    return {number,
            attribute(session_path(number, "/targetname")),
            portal,
            configured.empty() ? portal : configured,
            number_in(attribute(session_path(number, "/tpgt"))),
            in_small_letters(attribute(session_path(number, "/state"))),
            attribute("/sys/class/iscsi_host/" + host_of(number) + "/ipaddress"),
            attribute(session_path(number, "/initiatorname")),
            portal.empty() ? 0U : 1U,
            attribute(connection + "state"),
            digest(attribute(connection + "header_digest")),
            digest(attribute(connection + "data_digest"))};
}

template <std::string Session::*field>
Value text(const Session& session) {
    return text_or_null(session.*field);
}

Value number_of(const Session& session) {
    return session.number;
}

}  // namespace

std::string session_path(unsigned int number, const std::string& below) {
    return std::string(session_class) + "/session" + std::to_string(number) + below;
}

Sessions live_sessions() {
    Sessions sessions;
    for (const unsigned int number : session_numbers()) {
        const Session session = session_of(number);
        // It may have ended since it was listed.
        if (!session.target.empty() || session_exists(number)) sessions.push_back(session);
    }
    return sessions;
}

Sessions sessions_to(const std::string& target) {
    Sessions sessions = live_sessions();
    std::erase_if(sessions, [&target](const Session& session) { return session.target != target; });
    return sessions;
}

Session live_session(unsigned int number) {
    if (!session_exists(number)) throw no_such_session(number);
    return session_of(number);
}

std::vector<unsigned int> session_numbers() {
    std::vector<unsigned int> numbers;
    for (const std::string& name : names_in(session_class)) {
        if (!name.starts_with("session")) continue;
        if (const auto number = number_in(name.substr(7))) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool session_exists(unsigned int number) {
    const std::vector<unsigned int> numbers = session_numbers();
    return std::binary_search(numbers.begin(), numbers.end(), number);
}

const Columns<Session>& session_columns() {
    static const Columns<Session> columns = {
        {"session", number_of},
        {"target", text<&Session::target>, Look::text},
        {"portal", text<&Session::portal>},
        {"group_tag", [](const Session& session) { return number_or_null(session.group_tag); }, Look::plain,
         Shown::on_request},
        {"state", text<&Session::state>, Look::state},
        {"initiator_address", text<&Session::initiator_address>, Look::plain, Shown::on_request},
        {"initiator_name", text<&Session::initiator_name>, Look::text, Shown::on_request},
        {"connections", [](const Session& session) -> Value { return session.connections; }, Look::plain,
         Shown::on_request},
    };
    return columns;
}

const Columns<Session>& connection_columns() {
    static const Columns<Session> columns = {
        {"session", number_of},
        {"portal", text<&Session::portal>},
        {"initiator_address", text<&Session::initiator_address>},
        {"state", text<&Session::connection_state>, Look::state},
        {"header_digest", text<&Session::header_digest>},
        {"data_digest", text<&Session::data_digest>},
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
