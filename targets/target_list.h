// Owning a list of targets.
#pragma once

#include <memory>

#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {

struct TargetListRelease {
    void operator()(_TargetInformation* list) const { FreeTargetList(list); }
};

/// A chain of target records, each with its portals.
using TargetList = std::unique_ptr<_TargetInformation, TargetListRelease>;

/// Every recorded target with its portals. `result` is what `_GetTargetList` answers.
inline TargetList read_target_list(int& result) {
    _TargetInformation* list = nullptr;
    result = _GetTargetList(&list, 1);
    return TargetList{list};
}

}  // namespace opinit
