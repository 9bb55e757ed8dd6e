#pragma once

#include <string>
#include <vector>

#include "supervisor.h"

namespace simhost {

using Commands = std::vector<std::vector<std::string>>;

Commands whole_stack(bool has_systemd);
// A socket that is listened on stays so from one call to the next.
Commands daemon_alone(bool has_systemd);

// Runs what brings the stack up; the log of calls keeps to what the entered command does.
void bring_up(const Commands& commands, const TakenSignals& signals);

}  // namespace simhost
