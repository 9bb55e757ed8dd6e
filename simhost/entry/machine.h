#pragma once

namespace simhost {

// Shows the machine's programs, libraries, settings and data read-only. Needs the host's own
// directories, since some of what it shows stands in them.
void show_machine();

}  // namespace simhost
