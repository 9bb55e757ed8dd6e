#include "core/initiator_nodes.h"

#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {

InitiatorNodes read_initiator_nodes(int mode) {
    void* list = nullptr;
    unsigned int count = 0;
    const int result = _GetInitiatorNodeList(&list, &count, mode);
    return {result, count, RecordList{static_cast<_InitiatorNode*>(list)}};
}

unsigned int missing_node_status(const InitiatorNodes& nodes) {
    if (nodes.name_too_long()) return iscsi_status::initiator_name_too_long;
    return nodes.count == 0 ? iscsi_status::no_initiator_node : iscsi_status::success;
}

}  // namespace opinit
