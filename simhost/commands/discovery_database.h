#pragma once

#include "node_database.h"
#include "portal.h"

// The database of what SendTargets found: one directory for each portal that was asked.

namespace simhost {

// Also for a portal that then fails to answer.
void add_discovery_record(const Portal& portal);
void add_discovered_node(const Portal& discovered_at, const Node& node);

// The portal's directory goes, and every node record found through it. False where there is none.
bool delete_discovery_record(const Portal& portal);

// The entries of a node under all portals; a portal's directory stays even when nothing is left of it.
void delete_discovery_entries(const Node& node);

}  // namespace simhost
