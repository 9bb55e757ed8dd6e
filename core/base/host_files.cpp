#include "core/base/host_files.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace opinit {
namespace {

Descriptor open_file(const char* path, Access access) {
    switch (access) {
        case Access::read:
            return {path, O_RDONLY};
        case Access::read_untrusted:
            return {path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY};
        case Access::read_and_write:
            return {path, O_RDWR};
        case Access::create:
            return {path, O_RDWR | O_CREAT, 0666};
        case Access::create_anew:
            break;
    }
    return {path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600};
}

}  // namespace

File::File(const char* path, Access access) : descriptor_{open_file(path, access)} {}

std::ptrdiff_t File::read(std::span<char> buffer) const {
    std::ptrdiff_t size;
    do {
        size = ::read(descriptor_.number(), buffer.data(), buffer.size());
    } while (size < 0 && errno == EINTR);
    return size;
}

LineReader::~LineReader() {
    explicit_bzero(buffer_.data(), most_);
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
    most_ = std::max(most_, end_);
    return true;
}

}  // namespace opinit
