// What open-iscsi takes as the value of a setting. The library writes anything.
#pragma once

#include <cstdint>
#include <string>

namespace opinitctl {

/// Why open-iscsi would not take the value; empty where nothing is known against it.
std::string objection(std::uint32_t id, const std::string& value);

}  // namespace opinitctl
