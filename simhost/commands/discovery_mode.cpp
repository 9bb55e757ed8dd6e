#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "daemon_connection.h"
#include "discovery_database.h"
#include "failure.h"
#include "iscsiadm.h"
#include "live_sessions.h"
#include "modules.h"
#include "network.h"
#include "node_removal.h"

namespace simhost {
namespace {

int fail_discovery(int code, const char* reason) {
    complain(std::string("Could not perform SendTargets discovery: ") + reason);
    return code;
}

int report_no_daemon() {
    complain("Cannot perform discovery. Initiatorname required.");
    return fail_discovery(status::no_daemon, "could not connect to iscsid");
}

int report_no_host(const std::string& name) {
    complain("Cannot resolve host " + name + ". getaddrinfo error: [Name or service not known]");
    for (int attempt = 0; attempt < 2; ++attempt) complain("cannot resolve host name " + name);
    return fail_discovery(status::no_connection, "encountered connection failure");
}

int report_no_answer(const NetworkPortal& asked) {
    constexpr int retries = 5;
    const char* reason = asked.state == PortalState::dead ? "No route to host" : "Connection refused";
    for (int attempt = 0; attempt <= retries; ++attempt) {
        complain("cannot make connection to " + asked.portal.address + ": " + reason);
    }
    complain("connection login retries (reopen_max) " + std::to_string(retries) + " exceeded");
    return fail_discovery(status::pdu_timed_out, "iSCSI PDU timed out");
}

// A record that is found again is written anew: what was set in it is lost, as on a real host.
void record_node(const Portal& discovered_at, const Node& node, const Values& defaults) {
    Values values = defaults;
    values["node.name"] = node.target;
    values["node.tpgt"] = node.tag;
    values["node.discovery_address"] = discovered_at.address;
    values["node.discovery_port"] = std::to_string(discovered_at.port);
    values["node.discovery_type"] = "send_targets";
    values["node.conn[0].address"] = node.portal.address;
    values["node.conn[0].port"] = std::to_string(node.portal.port);
    write_node(node, values);
    add_discovered_node(discovered_at, node);
}

// Every portal tells of all targets, also of those that stand at other portals.
std::vector<Node> offered_nodes(const Network& network) {
    std::vector<Node> nodes;
    for (const Target& target : network.targets) {
        for (const Portal& portal : target.portals) {
            nodes.push_back({target.name, portal, std::to_string(target.tag)});
        }
    }
    return nodes;
}

// What this portal told of earlier and does no more.
void forget_others(const Portal& portal, const std::vector<Node>& found) {
    const std::vector<LiveSession> sessions = live_sessions();
    for (const Node& node : discovered_nodes(portal)) {
        if (std::find(found.begin(), found.end(), node) == found.end()) remove_node(node, sessions);
    }
}

int send_targets(const Portal& portal) {
    reach_daemon();
    if (!std::filesystem::exists("/sys/class/iscsi_transport"))
        complain("Could not scan /sys/class/iscsi_transport.");
    // Asked for the initiator's name once more, so a missing daemon is complained about twice.
    if (!reach_daemon()) return report_no_daemon();
    load_driver();
    const Network network = load_network();
    add_discovery_record(portal);
    if (!is_address(portal.address)) return report_no_host(portal.address);
    const NetworkPortal asked = network.portal_at(portal);
    if (asked.state != PortalState::up) return report_no_answer(asked);
    const std::vector<Node> found = offered_nodes(network);
    forget_others(portal, found);
    const Values defaults = default_values(node_settings);
    for (const Node& node : found) {
        record_node(portal, node, defaults);
        std::printf("%s,%s %s\n", node.portal.text().c_str(), node.tag.c_str(), node.target.c_str());
    }
    return status::ok;
}

int delete_record(const Portal& portal) {
    if (delete_discovery_record(portal)) return status::ok;
    complain("Discovery record [" + portal.comma_text() + "] not found!");
    return status::invalid;
}

}  // namespace

int discovery_mode(const Request& request) {
    if (!request.nodes.portal) throw Failure(status::invalid, "discovery mode: a portal (-p) is needed");
    if (request.operation == "delete") return delete_record(*request.nodes.portal);
    const bool asks_targets = request.type == "st" || request.type == "sendtargets";
    if (!asks_targets || request.operation) refuse(request);
    return send_targets(*request.nodes.portal);
}

}  // namespace simhost
