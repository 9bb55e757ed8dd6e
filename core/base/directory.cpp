#include "core/base/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace opinit {
namespace {

/// The kernel's own call: the C libraries of the hosts that are served need not have a function for it.
long read_entries(int descriptor, std::span<char> room) {
    return uninterrupted([&] { return ::syscall(SYS_getdents64, descriptor, room.data(), room.size()); });
}

}  // namespace

Directory::Directory(const char* path, std::span<char> room, Links links)
    : descriptor_{path, O_RDONLY | O_DIRECTORY | (links == Links::refuse ? O_NOFOLLOW : 0)},
      room_{room},
      error_{descriptor_.error()} {}

std::optional<Directory::Entry> Directory::next() {
    if (position_ == filled_) {
        const long size = read_entries(descriptor_.number(), room_);
        if (size <= 0) {
            if (size < 0) error_ = errno;
            return std::nullopt;
        }
        position_ = 0;
        filled_ = static_cast<std::size_t>(size);
    }
    const auto* entry = reinterpret_cast<const dirent64*>(room_.data() + position_);
    position_ += entry->d_reclen;
    return Entry{entry->d_name, entry->d_type == DT_LNK, entry->d_type == DT_DIR};
}

bool skip_dot_entries(std::string_view name) {
    return name != "." && name != "..";
}

void Listing::sort_names() {
    // Only now, since the text has moved while it grew.
    for (std::size_t at = 0; at < text_.size(); at += names_.back().size() + 1) {
        names_.emplace_back(text_.data() + at);
    }
    std::sort(names_.begin(), names_.end(), [](std::string_view left, std::string_view right) {
        return ::strverscmp(left.data(), right.data()) < 0;
    });
}

}  // namespace opinit
