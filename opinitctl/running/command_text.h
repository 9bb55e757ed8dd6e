// Commands as they are shown.
#pragma once

#include <string>
#include <string_view>

namespace opinitctl {

/// The command on one line, with stars in the place of a secret.
std::string shown_command(std::string_view command);

}  // namespace opinitctl
