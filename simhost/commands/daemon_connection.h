#pragma once

namespace simhost {

// Whether a daemon answers, if need be after what there is to bring it up: systemd's socket, and the command
// in iscsid.conf. Prints the complaint where none does.
bool reach_daemon();

}  // namespace simhost
