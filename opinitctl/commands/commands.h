// The commands, one family a file.
#pragma once

#include <span>

#include "commands/command_line.h"
#include "shown/output.h"

namespace opinitctl {

struct Command {
    const char* name;
    const char* description;
    /// Declares its arguments and what runs once they are read.
    void (*declare)(const CommandLine& command, Output& output);
};

std::span<const Command> stack_commands();
std::span<const Command> config_commands();
std::span<const Command> portal_commands();
std::span<const Command> target_commands();
std::span<const Command> login_commands();
std::span<const Command> session_commands();
std::span<const Command> disk_commands();
std::span<const Command> doctor_commands();
std::span<const Command> metrics_commands();

}  // namespace opinitctl
