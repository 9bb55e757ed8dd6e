// Arguments of the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace opinitctl {

/// A text argument or option that outlives the parsing; empty when not given.
using Text = std::shared_ptr<std::string>;
Text add_required(CLI::App& command, const std::string& name, const std::string& description);

/// Plain decimal digits and no more than `greatest`; a UsageError says `what` is wrong.
std::uint32_t parse_number(std::string_view text, std::uint32_t greatest, const std::string& what);

}  // namespace opinitctl
