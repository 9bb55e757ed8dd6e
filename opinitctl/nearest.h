// The word that was probably meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace opinitctl {

/// The one of `known`, which are some, that is the fewest typing mistakes away.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace opinitctl
