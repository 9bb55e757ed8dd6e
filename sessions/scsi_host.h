// The SCSI host that carries a session.
#pragma once

#include <optional>

namespace opinit {

/// The number of the session's SCSI host, from its links in sysfs; nothing when they do not name one.
std::optional<int> get_session_host(int session);

}  // namespace opinit
