#pragma once

#include <vector>

#include "node_database.h"
#include "portal.h"

// The database of what SendTargets found: one directory for each portal that was asked.

namespace simhost {

// Also for a portal that then fails to answer.
void add_discovery_record(const Portal& portal);
// The node is listed under this portal from now on, and under no other.
void add_discovered_node(const Portal& discovered_at, const Node& node);

std::vector<Node> discovered_nodes(const Portal& portal);

// The portal's directory goes, and every node record found through it. False where there is none.
bool delete_discovery_record(const Portal& portal);

// The entries of a node under all portals; a portal's directory stays even when nothing is left of it.
void delete_discovery_entries(const Node& node);

}  // namespace simhost
