#pragma once

#include <filesystem>
#include <optional>

namespace simhost {

// Gives the host its own directories below the root: empty ones, or those of a state directory, which
// holds each at the path that it has inside.
void make_own_directories(const std::optional<std::filesystem::path>& state);

}  // namespace simhost
