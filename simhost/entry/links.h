#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace simhost {

enum class Directory { in_its_place, moved };

// Makes a link in `own` for every entry of `shown`, but for the names left out and what stands in `own`
// already. Links in a moved directory would miss their targets from there, so they are copied instead.
void link_entries(const std::filesystem::path& shown, const std::filesystem::path& own, Directory directory,
                  const std::set<std::string>& left_out);

void replace_link(const std::filesystem::path& target, const std::filesystem::path& link);

}  // namespace simhost
