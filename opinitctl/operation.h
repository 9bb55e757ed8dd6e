// Calling an operation of the interface and judging its status.
#pragma once

#include <string>

#include "command_output.h"
#include "kvlinopinitr/iscsi_initiator.h"
#include "kvlinopinitr/iscsi_status.h"

namespace opinitctl {

/// The host has one initiator.
inline constexpr int the_initiator = 1;

/// Runs an operation that runs commands. What those print is shown when the operation fails.
template <class Operation>
unsigned int run_quietly(Operation operation) {
    CommandOutput output;
    const unsigned int status = operation();
    if (status != iscsi_status::success) output.relay();
    return status;
}

/// A Failure unless `status` is 0: what could not be done, the number, its message, and the hint.
void require_success(ISCSI_Initiator& initiator, const std::string& task, unsigned int status,
                     const std::string& hint = "");

}  // namespace opinitctl
