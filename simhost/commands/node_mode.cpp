#include <cstdio>

#include "failure.h"
#include "iscsiadm.h"
#include "live_sessions.h"
#include "login.h"
#include "node_removal.h"

namespace simhost {
namespace {

int report_none() {
    complain("No records found");
    return status::none_found;
}

int list(const std::vector<Node>& nodes) {
    for (const Node& node : nodes) {
        std::printf("%s,%s %s\n", node.portal.text().c_str(), node.tag.empty() ? "-1" : node.tag.c_str(),
                    node.target.c_str());
    }
    return status::ok;
}

int update(const Request& request, const std::vector<Node>& nodes) {
    if (!request.name || !request.value || request.value->empty()) {
        throw Failure(status::invalid, "node mode: an update needs a name (-n) and a value (-v)");
    }
    const bool known = is_setting(node_settings, *request.name);
    for (const Node& node : nodes) {
        if (!known) {
            complain("Cannot modify " + *request.name + ". Invalid param name.");
            continue;
        }
        Values values = read_node(node);
        values[*request.name] = *request.value;
        write_node(node, values);
    }
    if (known) return status::ok;
    complain("Could not execute operation on all records: invalid parameter");
    return status::invalid;
}

// Those without a session go, even when others are in use.
int remove(const std::vector<Node>& nodes) {
    const std::vector<LiveSession> sessions = live_sessions();
    bool all_gone = true;
    for (const Node& node : nodes) all_gone = remove_node(node, sessions) && all_gone;
    if (all_gone) return status::ok;
    complain("Could not execute operation on all records: session exists");
    return status::session_exists;
}

int add(const Request& request) {
    const auto& [target, portal] = request.nodes;
    if (!target || !portal)
        throw Failure(status::invalid, "node mode: a new record needs a target (-T) and a portal (-p)");
    if (!is_target_name(*target)) throw Failure(status::invalid, "no name for a target: " + *target);
    Values values = default_values(node_settings);
    values["node.name"] = *target;
    values["node.tpgt"] = "-1";
    values["node.discovery_type"] = "static";
    values["node.conn[0].address"] = portal->address;
    values["node.conn[0].port"] = std::to_string(portal->port);
    write_node({*target, *portal, ""}, values);
    std::printf("New iSCSI node [tcp:[hw=,ip=,net_if=,iscsi_if=default] %s,-1 %s] added\n",
                portal->comma_text().c_str(), target->c_str());
    return status::ok;
}

int login_by_startup(const std::string& startup) {
    std::vector<Node> chosen;
    for (const Node& node : find_nodes({})) {
        if (startup == "all" || value_of(read_node(node), "node.startup") == startup) chosen.push_back(node);
    }
    return chosen.empty() ? report_none() : login_all(chosen);
}

}  // namespace

int node_mode(const Request& request) {
    if (request.login_all) return login_by_startup(*request.login_all);
    if (request.logout_all == "all") return logout_of({});
    if (request.logout_all) refuse(request);
    if (request.logout) return logout_of(request.nodes);
    if (request.operation == "new") return add(request);
    const std::vector<Node> nodes = find_nodes(request.nodes);
    if (nodes.empty()) return report_none();
    if (request.login) return login_all(nodes);
    if (request.operation == "update") return update(request, nodes);
    if (request.operation == "delete") return remove(nodes);
    if (request.operation) refuse(request);
    return list(nodes);
}

}  // namespace simhost
