// Files that others read while they are written anew.
#pragma once

#include <string>

namespace opinitctl {

/// Puts a file with this content, readable by all, in the place of what stood at the path: a reader finds the
/// old or the new one, whole. A std::system_error where it cannot.
void replace_file(const std::string& path, const std::string& content);

}  // namespace opinitctl
