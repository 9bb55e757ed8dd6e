// Running out of memory on purpose.
#pragma once

namespace memory {

/// From now on the n-th allocation of the process (0: the next one) and every one behind it fails.
void fail_from(int n);
/// Only the n-th allocation fails.
void fail_only(int n);
/// Allocations succeed again. Whether one had failed.
bool restore();

}  // namespace memory
