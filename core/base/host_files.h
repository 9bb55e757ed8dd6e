// Reading the files of the host, and lines with the piece semantics of the C library's line input. A missing
// file is a value, not an exception.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "core/base/descriptor.h"

namespace opinit {

enum class Access {
    read,
    read_untrusted,  ///< never follows a link and never waits, whatever somebody left at the path
    read_and_write,
    create_new,   ///< read and write; fails when the path is taken, by a link too
    create_anew,  ///< read and write, for its owner only; what stands in the way is taken away, or it fails
    empty,        ///< write; what it held is gone; never follows a link and never waits
};

/// An open file of the host; tests as false when it could not be opened.
class File {
public:
    File(const char* path, Access access);

    explicit operator bool() const { return descriptor_.is_open(); }
    int descriptor() const { return descriptor_.number(); }
    /// Whether it could not be opened because nothing stands there.
    bool missing() const { return descriptor_.missing(); }

    /// One read of at most the buffer's size: 0 at the end of the file, -1 on an error.
    std::ptrdiff_t read(std::span<char> buffer) const;

private:
    Descriptor descriptor_;
};

/// Reads a file in pieces as fgets does: a piece ends behind a newline or at `limit` - 1 characters. The
/// buffer is wiped afterwards, since what it held may have been a CHAP secret.
class LineReader {
public:
    LineReader(const File& file, std::size_t limit) : file_{file}, longest_{limit - 1} {}
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader();

    /// The next piece, newline included, valid until the next call; nothing at the end of the file and where
    /// it cannot be read further, of which then no beginning of a line is handed out.
    std::optional<std::string_view> next();

    /// Whether the pieces ended because the file could not be read further.
    bool failed() const { return failed_; }

private:
    std::string_view buffered() const { return {buffer_.data() + begin_, end_ - begin_}; }
    bool refill();

    const File& file_;
    std::size_t longest_;
    std::array<char, 16384> buffer_;  ///< the settings file of every distribution is smaller
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t most_ = 0;  ///< where the end was when it was farthest
    bool failed_ = false;
};

}  // namespace opinit
