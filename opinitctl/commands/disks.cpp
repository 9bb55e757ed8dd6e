// disks, tree.
#include "host/disks.h"

#include <map>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "host/host_files.h"
#include "host/node_records.h"
#include "host/sessions.h"
#include "running/operation.h"

namespace opinitctl {
namespace {

/// A target, session, LUN, or what stands on one.
struct Node {
    std::string name;
    std::string type;
    std::optional<unsigned int> lun = {};
    std::string portal = "";
    std::optional<unsigned int> group_tag = {};
    std::string state = "";
    std::optional<std::uint64_t> size = {};
    std::string vendor = "";
    std::string model = "";
    Names mount_points = {};
    std::vector<Node> below = {};
};

Value mount_points(const Node& node) {
    return node.mount_points.empty() ? Value() : Value(node.mount_points);
}

const Columns<Node> tree_columns = {
    {"name", [](const Node& node) -> Value { return node.name; }, Look::text},
    {"type", [](const Node& node) -> Value { return node.type; }},
    {"lun", [](const Node& node) { return number_or_null(node.lun); }, Look::plain, Shown::on_request},
    {"portal", [](const Node& node) { return text_or_null(node.portal); }},
    {"group_tag", [](const Node& node) { return number_or_null(node.group_tag); }, Look::plain,
     Shown::on_request},
    {"state", [](const Node& node) { return text_or_null(node.state); }, Look::state},
    {"size_bytes", [](const Node& node) { return number_or_null(node.size); }, Look::bytes},
    {"vendor", [](const Node& node) { return text_or_null(node.vendor); }, Look::plain, Shown::on_request},
    {"model", [](const Node& node) { return text_or_null(node.model); }, Look::plain, Shown::on_request},
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

Node node_of(const Session& session, const Mounts& mounts) {
    Node node = {std::to_string(session.number), "session"};
    node.portal = session.portal;
    node.group_tag = session.group_tag;
    node.state = session.state;
    for (const Disk& disk : disks_of(session)) node.below.push_back(node_of(disk, mounts));
    return node;
}

void show_tree(const std::string& wanted, const Output& output) {
    const Sessions live = live_sessions();
    std::map<std::string, Sessions> targets;
    for (const std::string& name : targets_of(node_records())) targets[name];
    for (const Session& session : live) targets[session.target].push_back(session);
    require_running_or_tell(live.empty());
    if (!wanted.empty()) {
        std::erase_if(targets, [&wanted](const auto& target) { return target.first != wanted; });
        if (targets.empty()) throw Failure("there is no target " + wanted, exit_not_there);
    }
    const Mounts mounts;
    std::vector<Node> nodes;
    for (const auto& [name, sessions] : targets) {
        Node node = {name, "target"};
        for (const Session& session : sessions) node.below.push_back(node_of(session, mounts));
        nodes.push_back(std::move(node));
    }
    output.tree(tree_columns, nodes);
}

/// Those of a session, the one of a device, or all.
void show_disks(const std::string& wanted, const Output& output) {
    const auto number = number_in(wanted);
    const Sessions sessions = number ? Sessions{live_session(*number)} : live_sessions();
    require_running_or_tell(sessions.empty());
    std::vector<Disk> disks;
    for (const Session& session : sessions) {
        for (const Disk& disk : disks_of(session)) {
            const bool is_meant =
                number || wanted.empty() || disk.device == wanted || "/dev/" + disk.device == wanted;
            if (is_meant) disks.push_back(disk);
        }
    }
    if (disks.empty() && !number && !wanted.empty()) {
        throw Failure("there is no disk " + wanted + " of a session", exit_not_there);
    }
    output.list(disk_columns(), disks);
}

void declare_disks(const CommandLine& command, Output& output) {
    const auto wanted = std::make_shared<std::string>();
    command.add("SESSION|DEVICE", into(*wanted), "Number of the session, or a device such as sda");
    add_listing_options(command, output, headings_of(disk_columns()));
    command.on_run([wanted, &output] { show_disks(*wanted, output); });
}

void declare_tree(const CommandLine& command, Output& output) {
    const auto target = std::make_shared<std::string>();
    command.add("TARGET", into(*target), "Name of the target; all, if left out");
    add_listing_options(command, output, headings_of(tree_columns));
    command.on_run([target, &output] { show_tree(*target, output); });
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
