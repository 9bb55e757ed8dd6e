// Reading the host: files, lines with the piece semantics of the C library's line input, and directories.
// A missing file or directory is a value, not an exception.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opinit {

enum class Access {
    read,
    read_and_write,
    create,       ///< read and write; created when missing
    create_anew,  ///< read and write, for its owner only; fails when the path is taken, by a link too
};

/// An open file of the host; tests as false when it could not be opened.
class File {
public:
    File(const char* path, Access access);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    explicit operator bool() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

    /// One read of at most the buffer's size: 0 at the end of the file, -1 on an error.
    std::ptrdiff_t read(std::span<char> buffer) const;

private:
    int descriptor_;
};

/// Reads a file in pieces as fgets does: a piece ends behind a newline or at `limit` - 1 characters. The
/// buffer is wiped afterwards, since what it held may have been a CHAP secret.
class LineReader {
public:
    LineReader(const File& file, std::size_t limit) : file_{file}, longest_{limit - 1} {}
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader();

    /// The next piece, newline included, valid until the next call; nothing at the end of the file.
    std::optional<std::string_view> next();

    /// Whether the pieces ended because the file could not be read further.
    bool failed() const { return failed_; }

private:
    std::string_view buffered() const { return {buffer_.data() + begin_, end_ - begin_}; }
    bool refill();

    const File& file_;
    std::size_t longest_;
    std::array<char, 4096> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool failed_ = false;
};

/// Whether a link at the end of a directory's path is followed.
enum class Links { follow, refuse };

/// Streams the entries of a directory in directory order, "." and ".." included.
class Directory {
public:
    struct Entry {
        std::string_view name;  ///< NUL-terminated
        bool is_link;
        bool is_directory;
    };

    explicit Directory(const char* path, Links links = Links::follow);
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory();

    explicit operator bool() const { return descriptor_ >= 0; }

    /// The next entry, valid until the next call; nothing at the end.
    std::optional<Entry> next();

private:
    int descriptor_;
    alignas(8) std::array<char, 32768> buffer_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
};

/// Selector of listings: every entry but "." and "..".
bool skip_dot_entries(std::string_view name);

/// The selected names in version-sort order, in which session9 stands before session10; nothing when the
/// directory cannot be listed.
std::optional<std::vector<std::string>> list_directory(const char* path, bool (*select)(std::string_view));

}  // namespace opinit
