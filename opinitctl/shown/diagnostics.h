// What is said on standard error: warnings, and why a command failed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "errors.h"

namespace opinitctl {

/// From now on each is a JSON object on a line of its own.
void diagnose_as_json();

/// Something worth knowing that ends nothing.
void diagnose(std::string_view message);

/// A command that is about to run.
void show_command(const std::string& command);

/// Lines of others.
void show_lines(const std::vector<std::string>& lines);

void report(const UsageError& error);
void report(const Failure& failure);

}  // namespace opinitctl
