#include "discovery_database.h"

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "files.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

fs::path discovery_directory() {
    return database_root() / "send_targets";
}

fs::path portal_directory(const Portal& portal) {
    return discovery_directory() / portal.comma_text();
}

std::string entry_name(const Node& node) {
    return node.target + "," + node.portal.comma_text() + "," + node.tag + ",default";
}

// The name is read from its end, since a target name may hold commas.
std::optional<Node> parse_entry_name(std::string_view name) {
    std::array<std::string_view, 4> fields;  // interface, tag, port, address
    for (std::string_view& field : fields) {
        const auto comma = name.rfind(',');
        if (comma == name.npos) return std::nullopt;
        field = name.substr(comma + 1);
        name = name.substr(0, comma);
    }
    const auto port = parse_number(fields[2]);
    if (!port) return std::nullopt;
    return Node{std::string(name), {std::string(fields[3]), *port}, std::string(fields[1])};
}

}  // namespace

void add_discovery_record(const Portal& portal) {
    Values values = default_values(discovery_settings);
    values["discovery.sendtargets.address"] = portal.address;
    values["discovery.sendtargets.port"] = std::to_string(portal.port);
    create_private_directories(portal_directory(portal));
    write_file(portal_directory(portal) / "st_config", record_text(discovery_settings, values), 0600);
}

void add_discovered_node(const Portal& discovered_at, const Node& node) {
    delete_discovery_entries(node);
    fs::create_symlink(node_directory() / node.entry(), portal_directory(discovered_at) / entry_name(node));
}

std::vector<Node> discovered_nodes(const Portal& portal) {
    std::vector<Node> nodes;
    for (const std::string& name : names_in(portal_directory(portal))) {
        if (const auto node = parse_entry_name(name)) nodes.push_back(*node);
    }
    return nodes;
}

bool delete_discovery_record(const Portal& portal) {
    if (!fs::exists(portal_directory(portal))) return false;
    for (const Node& node : discovered_nodes(portal)) delete_node(node);
    fs::remove_all(portal_directory(portal));
    return true;
}

void delete_discovery_entries(const Node& node) {
    for (const std::string& portal : names_in(discovery_directory())) {
        std::error_code not_ours;
        fs::remove(discovery_directory() / portal / entry_name(node), not_ours);
    }
}

}  // namespace simhost
