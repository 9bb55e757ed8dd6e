#pragma once

#include <string>
#include <vector>

#include "supervisor.h"

namespace simhost {

using Commands = std::vector<std::vector<std::string>>;

inline const Commands whole_stack = {{"/sbin/modprobe", "iscsi_tcp"}, {"/sbin/iscsid"}};
inline const Commands daemon_alone = {{"/sbin/iscsid"}};

// Runs what brings the stack up; the log of calls keeps to what the entered command does.
void bring_up(const Commands& commands, const TakenSignals& signals);

}  // namespace simhost
