#pragma once

#include <filesystem>

#include "files.h"

namespace simhost {

// There while systemd listens on the daemon's socket: connecting brings the daemon up then.
inline const std::filesystem::path listening_socket = run_directory / "listening-socket";

// Starts the daemon as systemd does; false where it does not come up.
bool start_service();

}  // namespace simhost
