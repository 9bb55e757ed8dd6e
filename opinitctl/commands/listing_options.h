// The options that every listing takes.
#pragma once

#include <vector>

#include "commands/command_line.h"
#include "shown/output.h"

namespace opinitctl {

void add_listing_options(const CommandLine& command, Output& output, const std::vector<Heading>& headings);

/// For a command whose answer is one record: nothing to sort.
void add_record_options(const CommandLine& command, Output& output, const std::vector<Heading>& headings);

}  // namespace opinitctl
