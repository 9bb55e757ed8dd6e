#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "portal.h"
#include "record.h"

namespace simhost {

struct Node {
    std::string target;
    Portal portal;
    std::string tag;  // empty for a record that was made by hand

    bool operator==(const Node&) const = default;

    // "NAME/ADDRESS,PORT,TAG" (a directory) or "NAME/ADDRESS,PORT" (a file) below the node database.
    std::filesystem::path entry() const;
    // "[iface: default, target: NAME, portal: ADDRESS,PORT]", as messages name a record.
    std::string label() const;
};

// Names become directory names.
bool is_target_name(const std::string& name);

struct NodeFilter {
    std::optional<std::string> target;
    std::optional<Portal> portal;
};

// /var/lib/iscsi where it exists, else /etc/iscsi.
std::filesystem::path database_root();
std::filesystem::path node_directory();

// Sorted by target and portal.
std::vector<Node> find_nodes(const NodeFilter& filter);

Values read_node(const Node& node);
void write_node(const Node& node, const Values& values);
void delete_node(const Node& node);

}  // namespace simhost
