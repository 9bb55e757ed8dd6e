#pragma once

#include <vector>

#include "live_sessions.h"
#include "node_database.h"

namespace simhost {

// Takes the node's record and its entries out of the databases. While a session uses it, it stays: that is
// complained about and answered with false.
bool remove_node(const Node& node, const std::vector<LiveSession>& sessions);

}  // namespace simhost
