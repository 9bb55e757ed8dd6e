// The settings of an initiator node.
#pragma once

#include "kvlinopinitr/iscsi_records.h"

namespace opinit {

/// Fills `properties`, `stack_running` and `node_valid` of a record whose `node_name` is set: the name, then
/// what iscsid.conf sets, in file order, then the end entry. A file that cannot be opened sets nothing.
/// Returns the number of entries before the end entry.
unsigned int _GetInitiatorSettings(_InitiatorNode& node);

}  // namespace opinit
