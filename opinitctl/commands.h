// The commands, one family a file. Each declares its arguments and what runs once they are read.
#pragma once

#include <CLI/CLI.hpp>

#include "table.h"

namespace opinitctl {

void add_stack_commands(CLI::App& app, const Output& output);
void add_config_commands(CLI::App& app, const Output& output);
void add_target_commands(CLI::App& app, const Output& output);
void add_session_commands(CLI::App& app, const Output& output);
void add_doctor(CLI::App& app, const Output& output);

}  // namespace opinitctl
