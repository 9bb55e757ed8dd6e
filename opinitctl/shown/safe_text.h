// Text from the host, shown so that it cannot play with the terminal.
#pragma once

#include <string>
#include <string_view>

namespace opinitctl {

/// Printable ASCII as it is, a backslash doubled, every other byte as \xHH.
std::string ascii_text(std::string_view text);

/// The same, but what the locale can print stays: letters of any language where it is UTF-8.
std::string safe_text(std::string_view text);

/// In the place of a secret, and the same for each, so that not even its length shows.
inline constexpr const char* stars = "********";

}  // namespace opinitctl
