#include "node_database.h"

#include <string_view>

#include "files.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

fs::path record_file(const Node& node) {
    const fs::path path = node_directory() / node.entry();
    return node.tag.empty() ? path : path / "default";
}

// ADDRESS,PORT or ADDRESS,PORT,TAG; anything else in the database is no record.
std::optional<Node> parse_entry(const std::string& target, std::string_view name) {
    const auto first = name.find(',');
    if (first == name.npos) return std::nullopt;
    const auto second = name.find(',', first + 1);
    const auto port = parse_number(name.substr(first + 1, second - first - 1));
    if (!port) return std::nullopt;
    return Node{target,
                {std::string(name.substr(0, first)), *port},
                std::string(second == name.npos ? "" : name.substr(second + 1))};
}

void find_nodes_of(const std::string& target, const std::optional<Portal>& portal, std::vector<Node>& found) {
    for (const std::string& name : names_in(node_directory() / target)) {
        const auto node = parse_entry(target, name);
        if (node && (!portal || node->portal == *portal)) found.push_back(*node);
    }
}

}  // namespace

fs::path Node::entry() const {
    return target + "/" + portal.comma_text() + (tag.empty() ? "" : "," + tag);
}

std::string Node::label() const {
    return "[iface: default, target: " + target + ", portal: " + portal.comma_text() + "]";
}

bool is_target_name(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

fs::path database_root() {
    return fs::exists("/var/lib/iscsi") ? "/var/lib/iscsi" : "/etc/iscsi";
}

fs::path node_directory() {
    return database_root() / "nodes";
}

std::vector<Node> find_nodes(const NodeFilter& filter) {
    std::vector<Node> found;
    if (filter.target) {
        if (!is_target_name(*filter.target)) return found;
        find_nodes_of(*filter.target, filter.portal, found);
    } else {
        for (const std::string& target : names_in(node_directory()))
            find_nodes_of(target, filter.portal, found);
    }
    return found;
}

Values read_node(const Node& node) {
    return parse_record(read_file(record_file(node)).value_or(""));
}

void write_node(const Node& node, const Values& values) {
    const fs::path file = record_file(node);
    create_private_directories(file.parent_path());
    write_file(file, record_text(node_settings, values), 0600);
}

void delete_node(const Node& node) {
    const fs::path path = node_directory() / node.entry();
    fs::remove_all(path);
    std::error_code still_in_use;
    fs::remove(path.parent_path(), still_in_use);
}

}  // namespace simhost
