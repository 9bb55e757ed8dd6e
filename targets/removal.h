// Deleting what is recorded of a portal's targets.
#pragma once

#include <cstdint>

namespace opinit {

/// Deletes the node records of a portal that is the first portal of a recorded target without a session. 0,
/// or the status to be reported: 167, 179, 99.
unsigned int remove_target(const char* address, std::uint16_t port);

}  // namespace opinit
