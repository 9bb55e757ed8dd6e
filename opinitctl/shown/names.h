// Lists of names.
#pragma once

#include <string>
#include <vector>

namespace opinitctl {

using Names = std::vector<std::string>;

/// "a, b, c"
std::string enumeration(const Names& names);

Names without(Names names, const Names& others);

/// The one of `known`, which are some, that is the fewest typing mistakes away from `word`.
std::string nearest(const std::string& word, const Names& known);

}  // namespace opinitctl
