#include "login.h"

#include <cstdio>
#include <thread>

#include "daemon_connection.h"
#include "failure.h"
#include "iscsiadm.h"
#include "live_sessions.h"
#include "modules.h"
#include "network.h"
#include "session_entries.h"

namespace simhost {
namespace {

const char* error_text(int code) {
    switch (code) {
        case status::timed_out:
            return "connection timed out";
        case status::internal_error:
            return "internal error";
        case status::login_refused:
            return "encountered non-retryable iSCSI login failure";
        case status::no_daemon:
            return "could not connect to iscsid";
        case status::not_authorized:
            return "iSCSI login failed due to authorization failure";
        default:
            return "unknown error";
    }
}

Credentials credentials_of(const Values& record, const std::string& suffix) {
    return {value_of(record, "node.session.auth.username" + suffix),
            value_of(record, "node.session.auth.password" + suffix)};
}

bool matches(const Credentials& offered, const std::optional<Credentials>& expected) {
    return expected && offered.user == expected->user && offered.secret == expected->secret;
}

// What both sides make of each other's secrets. A user name in the record is what makes the initiator offer
// CHAP, whatever the authentication method says.
int authenticate(const Target& target, const Values& record) {
    const Credentials own = credentials_of(record, "");
    const Credentials in = credentials_of(record, "_in");
    if (!target.chap) return own.user.empty() ? status::ok : status::login_refused;
    if (!matches(own, target.chap)) return status::not_authorized;
    const bool demands_answer = !in.user.empty() || !in.secret.empty();
    if (demands_answer) return matches(in, target.mutual) ? status::ok : status::login_refused;
    return target.mutual ? status::not_authorized : status::ok;
}

SessionDetails describe_session(const Network& network, const Target& target, const Node& node,
                                const Values& record) {
    SessionDetails details;
    details.target = target.name;
    details.tag = target.tag;
    details.portal = node.portal;
    details.initiator_address = network.portal_at(node.portal).initiator_address;
    details.initiator_name = configured_initiator_name();
    const Credentials own = credentials_of(record, "");
    const Credentials in = credentials_of(record, "_in");
    details.username = own.user;
    details.password = own.secret;
    details.username_in = in.user;
    details.password_in = in.secret;
    details.header_digest = value_of(record, "node.conn[0].iscsi.HeaderDigest").starts_with("CRC32C");
    details.data_digest = value_of(record, "node.conn[0].iscsi.DataDigest").starts_with("CRC32C");
    details.luns = target.luns;
    return details;
}

// A portal that cannot be connected to costs no session number: the kernel's session is made only then.
int attempt_login(const Network& network, const Node& node) {
    if (!has_driver()) return status::internal_error;
    const bool connects = network.portal_at(node.portal).state == PortalState::up;
    const unsigned sid = connects ? take_session_number() : 0;
    const Target* target = connects ? network.find_target(node.target, node.portal) : nullptr;
    if (!target) {
        std::this_thread::sleep_for(network.login_timeout);
        return status::timed_out;
    }
    const Values record = read_node(node);
    const int result = authenticate(*target, record);
    if (result != status::ok) return result;
    SessionDetails details = describe_session(network, *target, node, record);
    details.sid = sid;
    create_session(details);
    return status::ok;
}

// Those without a session; each of the others is complained about.
std::vector<Node> without_session(const std::vector<Node>& nodes) {
    const std::vector<LiveSession> sessions = live_sessions();
    std::vector<Node> rest;
    for (const Node& node : nodes) {
        if (find_session(sessions, node.target, node.portal)) {
            complain("default: 1 session requested, but 1 already present.");
        } else {
            rest.push_back(node);
        }
    }
    return rest;
}

int login_one(const Network& network, const Node& node) {
    const int result = reach_daemon() ? attempt_login(network, node) : status::no_daemon;
    if (result == status::ok) {
        std::printf("Login to %s successful.\n", node.label().c_str());
    } else {
        complain("Could not login to " + node.label() + ".");
        complain(reported_error(result));
    }
    return result;
}

}  // namespace

std::string reported_error(int code) {
    return "initiator reported error (" + std::to_string(code) + " - " + error_text(code) + ")";
}

int login_all(const std::vector<Node>& nodes) {
    const std::vector<Node> pending = without_session(nodes);
    int first_failure = pending.size() < nodes.size() ? status::session_exists : status::ok;
    for (const Node& node : pending) std::printf("Logging in to %s\n", node.label().c_str());
    const Network network = pending.empty() ? Network{} : load_network();
    for (const Node& node : pending) {
        const int result = login_one(network, node);
        if (first_failure == status::ok) first_failure = result;
    }
    if (first_failure != status::ok) complain("Could not log into all portals");
    return first_failure;
}

}  // namespace simhost
