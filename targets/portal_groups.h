// The portals of one recorded target.
#pragma once

#include <string_view>

#include "core/base/record_list.h"

namespace opinit {

struct TargetPortals {
    int status;  ///< as `_GetTargetList` answers; 2 also where memory ran out before all portals were found
    /// Addresses as 4 bytes, as the caller sees them; of the first portal directory that has the target. None
    /// where it is not recorded.
    RecordList<_TargetPortalGroups> records;
};

TargetPortals find_portals(std::string_view target_name);

}  // namespace opinit
