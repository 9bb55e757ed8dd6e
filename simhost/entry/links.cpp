#include "links.h"

#include <system_error>

namespace simhost {

namespace fs = std::filesystem;

namespace {

void link_unless_there(const fs::path& target, const fs::path& link) {
    std::error_code error;
    fs::create_symlink(target, link, error);
    if (error && error != std::errc::file_exists)
        throw fs::filesystem_error("cannot make a link", link, error);
}

}  // namespace

void link_entries(const fs::path& shown, const fs::path& own, Directory directory,
                  const std::set<std::string>& left_out) {
    for (const auto& entry : fs::directory_iterator(shown)) {
        const fs::path name = entry.path().filename();
        if (left_out.count(name) != 0) continue;
        const bool copied = directory == Directory::moved && entry.is_symlink();
        link_unless_there(copied ? fs::read_symlink(entry.path()) : entry.path(), own / name);
    }
}

void replace_link(const fs::path& target, const fs::path& link) {
    fs::remove(link);
    fs::create_symlink(target, link);
}

}  // namespace simhost
