// The generic list query, behind the checks of the operation.
#pragma once

#include "core/verdict.h"

namespace opinit {

/// `object` is what the variadic argument of the list type points to.
Verdict query_list(int type, const void* object, void* buffer, unsigned int* bytes);

}  // namespace opinit
