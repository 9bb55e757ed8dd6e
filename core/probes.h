// The probes of the stack that open an operation. What they found stays where the agent can look at it.
#pragma once

#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {

inline bool probe_installed() {
    op_init_stack_avail = static_cast<unsigned int>(check_stack_available());
    return op_init_stack_avail != 0;
}

inline bool probe_running() {
    op_initiator_started = static_cast<unsigned int>(check_stack_running());
    return op_initiator_started != 0;
}

}  // namespace opinit
