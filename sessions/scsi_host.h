// The SCSI host that carries a session.
#pragma once

#include <optional>

namespace opinit {

/// The number of the session's SCSI host, from its links in sysfs; nothing when they do not name one.
std::optional<int> get_session_host(int session);

/// The same at half the cost where the session's class entry names the host by itself, as on current kernels.
/// Unlike the other it does not notice when the session's device is gone.
std::optional<int> find_session_host(int session);

}  // namespace opinit
