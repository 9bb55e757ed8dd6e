// Lists of names.
#pragma once

#include <string>
#include <vector>

namespace opinitctl {

using Names = std::vector<std::string>;

/// "a, b, c"
std::string enumeration(const Names& names);

Names without(Names names, const Names& others);

}  // namespace opinitctl
