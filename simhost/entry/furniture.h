#pragma once

#include "options.h"

namespace simhost {

// Puts in what the host has of its own: stand-in commands, module file, settings and the table of what
// its network offers. Settings go into a new host only, and only where a file is not there already.
// Tells whether the host was new.
bool furnish(const Options& options);

}  // namespace simhost
