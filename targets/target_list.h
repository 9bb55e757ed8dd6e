// Every target that discovery recorded.
#pragma once

#include "targets/target_receiver.h"

namespace opinit {

/// Hands over all recorded targets, portal directory by portal directory. Deletes the discovery records of
/// portals whose directory is empty. 0 when there is a target, wanted or not; else -1 when no portal is
/// recorded, 2, or what the last portal gave: 179 or -2.
int walk_recorded_targets(TargetReceiver& targets);

/// Puts all recorded targets into the caller's buffer, as `_GetTargetList` lists them. Answers the same;
/// after a negative answer the caller's memory is left alone.
int deliver_target_list(void* buffer, unsigned int* bytes);

}  // namespace opinit
