#include "core/base/host_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace opinit {
namespace {

int open_again_if_interrupted(const char* path, int flags, mode_t permissions = 0) {
    int descriptor;
    do {
        descriptor = ::open(path, flags | O_CLOEXEC, permissions);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int open_file(const char* path, Access access) {
    switch (access) {
        case Access::read:
            return open_again_if_interrupted(path, O_RDONLY);
        case Access::read_and_write:
            return open_again_if_interrupted(path, O_RDWR);
        case Access::create:
            return open_again_if_interrupted(path, O_RDWR | O_CREAT, 0666);
        case Access::create_anew:
            return open_again_if_interrupted(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    }
    return -1;
}

}  // namespace

File::File(const char* path, Access access) : descriptor_{open_file(path, access)} {}

File::~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::ptrdiff_t File::read(std::span<char> buffer) const {
    std::ptrdiff_t size;
    do {
        size = ::read(descriptor_, buffer.data(), buffer.size());
    } while (size < 0 && errno == EINTR);
    return size;
}

LineReader::~LineReader() {
    explicit_bzero(buffer_.data(), buffer_.size());
}

std::optional<std::string_view> LineReader::next() {
    for (;;) {
        const std::string_view head = buffered().substr(0, longest_);
        const std::size_t newline = head.find('\n');
        if (newline == std::string_view::npos && head.size() < longest_ && refill()) continue;
        const std::size_t size = newline == std::string_view::npos ? head.size() : newline + 1;
        if (size == 0) return std::nullopt;
        begin_ += size;
        return std::string_view{buffer_.data() + begin_ - size, size};  // a vain refill has moved it
    }
}

bool LineReader::refill() {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
    const std::ptrdiff_t size = file_.read(std::span{buffer_}.subspan(end_));
    failed_ = failed_ || size < 0;
    if (size <= 0) return false;
    end_ += static_cast<std::size_t>(size);
    return true;
}

Directory::Directory(const char* path, Links links)
    : descriptor_{open_again_if_interrupted(
          path, O_RDONLY | O_DIRECTORY | (links == Links::refuse ? O_NOFOLLOW : 0))} {}

Directory::~Directory() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::optional<Directory::Entry> Directory::next() {
    if (position_ == filled_) {
        const ssize_t size = ::getdents64(descriptor_, buffer_.data(), buffer_.size());
        if (size <= 0) return std::nullopt;
        position_ = 0;
        filled_ = static_cast<std::size_t>(size);
    }
    const auto* entry = reinterpret_cast<const dirent64*>(buffer_.data() + position_);
    position_ += entry->d_reclen;
    return Entry{entry->d_name, entry->d_type == DT_LNK, entry->d_type == DT_DIR};
}

bool skip_dot_entries(std::string_view name) {
    return name != "." && name != "..";
}

std::optional<std::vector<std::string>> list_directory(const char* path, bool (*select)(std::string_view)) {
    Directory directory{path};
    if (!directory) return std::nullopt;
    std::vector<std::string> names;
    while (const auto entry = directory.next()) {
        if (select(entry->name)) names.emplace_back(entry->name);
    }
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
        return ::strverscmp(left.c_str(), right.c_str()) < 0;
    });
    return names;
}

}  // namespace opinit
