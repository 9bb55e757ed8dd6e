// Starting and stopping the stack, behind the checks of the operations.
#pragma once

#include "core/verdict.h"

namespace opinit {

Verdict start_stack();
Verdict stop_stack();

}  // namespace opinit
