#pragma once

namespace simhost {

// Whether the transport of the kernel's initiator is there.
bool has_driver();

// Loads the initiator's modules, as modprobe does; false where that fails.
bool load_driver();

}  // namespace simhost
