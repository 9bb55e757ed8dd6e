#include "core/base/host_files.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace opinit {
namespace {

/// Removes what stands at the path. A directory with something in it gets another name beside it: it may hold
/// what somebody needs, and anybody could leave one where all may write.
void clear_the_way(const char* path) {
    if (std::remove(path) == 0 || (errno != ENOTEMPTY && errno != EEXIST)) return;
    std::string aside = std::string{path} + ".aside.XXXXXX";
    // An empty directory, which another one may take the place of.
    if (::mkdtemp(aside.data()) != nullptr && std::rename(path, aside.c_str()) != 0) ::rmdir(aside.c_str());
}

Descriptor create_anew(const char* path) {
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW;
    Descriptor first{path, flags, 0600};
    if (first.error() != EEXIST) return first;
    clear_the_way(path);
    return {path, flags, 0600};
}

Descriptor open_file(const char* path, Access access) {
    switch (access) {
        case Access::read:
            return {path, O_RDONLY};
        case Access::read_untrusted:
            return {path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY};
        case Access::read_and_write:
            return {path, O_RDWR};
        case Access::create_new:
            return {path, O_RDWR | O_CREAT | O_EXCL, 0666};
        case Access::create_anew:
            return create_anew(path);
        case Access::empty:
            break;
    }
    return {path, O_WRONLY | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY};
}

}  // namespace

File::File(const char* path, Access access) : descriptor_{open_file(path, access)} {}

std::ptrdiff_t File::read(std::span<char> buffer) const {
    return uninterrupted([&] { return ::read(descriptor(), buffer.data(), buffer.size()); });
}

LineReader::~LineReader() {
    explicit_bzero(buffer_.data(), most_);
}

std::optional<std::string_view> LineReader::next() {
    for (;;) {
        const std::string_view head = buffered().substr(0, longest_);
        const std::size_t newline = head.find('\n');
        if (newline == std::string_view::npos && head.size() < longest_ && refill()) continue;
        if (failed_) return std::nullopt;
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
    most_ = std::max(most_, end_);
    return true;
}

}  // namespace opinit
