#pragma once

#include "options.h"

namespace simhost {

struct Furnished {
    bool is_new;
    bool has_systemd;
};

// Puts in what the host has of its own: stand-in commands, module file, settings and the table of what
// its network offers. Settings go into a new host only, and only where a file is not there already.
Furnished furnish(const Options& options);

}  // namespace simhost
