#include "node_removal.h"

#include "discovery_database.h"
#include "iscsiadm.h"

namespace simhost {

bool remove_node(const Node& node, const std::vector<LiveSession>& sessions) {
    if (find_session(sessions, node.target, node.portal)) {
        complain("This command will remove the record " + node.label() +
                 ", but a session is using it. Logout session then rerun command to remove record.");
        return false;
    }
    delete_node(node);
    delete_discovery_entries(node);
    return true;
}

}  // namespace simhost
