// Text from the host, shown so that it cannot play with the terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace opinitctl {

/// Printable ASCII as it is, a backslash doubled, every other byte as \xHH.
std::string safe_text(std::string_view text);

/// Lines of others on standard error.
void show_lines(const std::vector<std::string>& lines);

/// One line on standard error, under the program's name.
void diagnose(std::string_view message);

}  // namespace opinitctl
