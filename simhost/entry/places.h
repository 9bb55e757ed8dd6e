#pragma once

#include <filesystem>
#include <vector>

#include "mounts.h"
#include "options.h"

namespace simhost {

struct Place {
    std::filesystem::path path;
    Access access;
};

// What has to stay visible although the host has directories of its own in its stead: where the
// project, its build, the command and the caller are, and what the caller wants to write to. Parents
// come first.
std::vector<Place> kept_places(const Options& options, const std::filesystem::path& working_directory);

void show_places(const std::vector<Place>& places);

}  // namespace simhost
