// What the agent is talking to: this library and the kernel module.
#pragma once

struct _Version;

namespace opinit {

void fill_library_version(_Version& version);

/// 0; 99; or what the runtime library answered (nothing is written then).
unsigned int deliver_module_version(char* buffer, unsigned int* bytes);

}  // namespace opinit
