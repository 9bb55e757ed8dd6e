// Trying a change of the settings without making it.
#pragma once

namespace opinitctl {

/// From now on this process, alone, sees copies of the settings files: what it writes is gone when it ends.
void enter_rehearsal();

}  // namespace opinitctl
