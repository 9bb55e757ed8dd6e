// Text from the host, shown so that it cannot play with the terminal.
#pragma once

#include <string>
#include <string_view>

namespace opinitctl {

/// Printable ASCII as it is, a backslash doubled, every other byte as \xHH.
std::string safe_text(std::string_view text);

}  // namespace opinitctl
