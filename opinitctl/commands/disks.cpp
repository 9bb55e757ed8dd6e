// disks, tree.
#include <map>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "host/block_users.h"
#include "host/live_disks.h"
#include "host/live_sessions.h"
#include "host/node_records.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"

namespace opinitctl {
namespace {

using Number = std::optional<unsigned int>;

/// A target, session, LUN, or what stands on one.
struct Node {
    std::string name;
    std::string type;
    Number lun = {};
    std::string portal = "";
    Number group_tag = {};
    std::string state = "";
    std::optional<std::uint64_t> size = {};
    std::string vendor = "";
    std::string model = "";
    std::vector<std::string> mount_points = {};
    std::vector<Node> below = {};
};

Value mount_points(const Node& node) {
    return node.mount_points.empty() ? Value() : Value(values_of(node.mount_points));
}

const Columns<Node> tree_columns = {
    {"name", [](const Node& node) -> Value { return node.name; }, Look::text},
    {"type", [](const Node& node) -> Value { return node.type; }},
    {"lun", [](const Node& node) { return number_or_null(node.lun); }},
    {"portal", [](const Node& node) { return text_or_null(node.portal); }},
    {"group_tag", [](const Node& node) { return number_or_null(node.group_tag); }, Look::plain,
     Shown::on_request},
    {"state", [](const Node& node) { return text_or_null(node.state); }, Look::state},
    {"size_bytes", [](const Node& node) { return number_or_null(node.size); }, Look::bytes},
    {"vendor", [](const Node& node) { return text_or_null(node.vendor); }},
    {"model", [](const Node& node) { return text_or_null(node.model); }, Look::text},
    {"mountpoints", mount_points, Look::list},
};

std::vector<Node> nodes_of(const std::vector<BlockDevice>& devices) {
    std::vector<Node> nodes;
    for (const BlockDevice& device : devices) {
        Node node = {device.name, device.type};
        node.size = device.size;
        node.mount_points = device.mount_points;
        node.below = nodes_of(device.users);
        nodes.push_back(std::move(node));
    }
    return nodes;
}

Node node_of(const Disk& disk, const Mounts& mounts) {
    Node node = {disk.device.empty() ? disk.scsi_address : disk.device, disk.device.empty() ? "lun" : "disk"};
    node.lun = disk.lun;
    node.state = disk.state;
    node.size = disk.size;
    node.vendor = disk.vendor;
    node.model = disk.model;
    if (disk.device.empty()) return node;
    const BlockDevice device = block_device(disk.device, mounts);
    node.mount_points = device.mount_points;
    node.below = nodes_of(device.users);
    return node;
}

Node node_of(const Session& session, ISCSI_Initiator& initiator, const Mounts& mounts) {
    Node node = {std::to_string(session.number), "session"};
    node.portal = session.portal;
    node.group_tag = session.group_tag;
    node.state = session.state;
    for (const Disk& disk : disks_of(initiator, session.number)) {
        node.below.push_back(node_of(disk, mounts));
    }
    return node;
}

void show_tree(const Output& output) {
    OpenInitiator initiator;
    std::map<std::string, std::vector<Session>> targets;
    for (const std::string& name : targets_of(node_records())) targets[name];
    for (const Session& session : live_sessions(initiator)) targets[session.target].push_back(session);
    const Mounts mounts;
    std::vector<Node> nodes;
    for (const auto& [name, sessions] : targets) {
        Node node = {name, "target"};
        for (const Session& session : sessions) node.below.push_back(node_of(session, initiator, mounts));
        nodes.push_back(std::move(node));
    }
    output.tree(tree_columns, nodes);
}

std::vector<Disk> all_disks(ISCSI_Initiator& initiator) {
    std::vector<Disk> disks;
    for (const unsigned int session : session_numbers()) {
        try {
            const std::vector<Disk> own = disks_of(initiator, session);
            disks.insert(disks.end(), own.begin(), own.end());
        } catch (const Failure& failure) {
            if (session_exists(session)) throw;
        }
    }
    return disks;
}

void show_disks(const Number& number, const Output& output) {
    OpenInitiator initiator;
    unsigned int count = 0;
    require_success(initiator, "list the disks", initiator.QuerySessionCount(&count));
    output.list(disk_columns(), number ? disks_of(initiator, *number) : all_disks(initiator));
}

void declare_disks(const CommandLine& command, Output& output) {
    const auto session = add_session_number(command);
    add_listing_options(command, output, headings_of(disk_columns()));
    command.on_run([session, &output] { show_disks(*session, output); });
}

void declare_tree(const CommandLine& command, Output& output) {
    add_listing_options(command, output, headings_of(tree_columns));
    command.on_run([&output] { show_tree(output); });
}

constexpr Command commands[] = {
    {"disks", "List the LUNs of a session, or of all, and their disks", declare_disks},
    {"tree", "Show targets, their sessions and LUNs, and what is on these", declare_tree},
};

}  // namespace

std::span<const Command> disk_commands() {
    return commands;
}

}  // namespace opinitctl
