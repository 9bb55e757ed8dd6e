// The initiator node list, as the operations use it.
#pragma once

#include "core/base/record_list.h"

namespace opinit {

struct InitiatorNodes {
    int result;
    unsigned int count;
    RecordList<_InitiatorNode> records;

    bool name_too_long() const { return result == -2; }
};

/// Mode 1 reads the names only, 2 and 3 the settings too.
InitiatorNodes read_initiator_nodes(int mode);

/// 198 or 191 when there is no node to work with, else 0.
unsigned int missing_node_status(const InitiatorNodes& nodes);

}  // namespace opinit
