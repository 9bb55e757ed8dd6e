// The options that every listing takes.
#pragma once

#include <CLI/CLI.hpp>
#include <vector>

#include "shown/output.h"

namespace opinitctl {

void add_listing_options(CLI::App& command, Output& output, const std::vector<Heading>& headings);

/// For a command whose answer is one record: nothing to sort.
void add_record_options(CLI::App& command, Output& output, const std::vector<Heading>& headings);

}  // namespace opinitctl
