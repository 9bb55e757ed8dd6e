// Directories of the host.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/base/descriptor.h"

namespace opinit {

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

    /// Entries pass through `room`, which is aligned for 8 bytes and holds at least one entry (300 bytes).
    Directory(const char* path, std::span<char> room, Links links = Links::follow);

    explicit operator bool() const { return descriptor_.is_open(); }

    /// The next entry, valid until the next call; nothing at the end and when it cannot be read further.
    std::optional<Entry> next();

    /// 0, or what errno said when it could not be opened or not be read to its end: ENOENT also when it was
    /// removed meanwhile.
    int error() const { return error_; }

private:
    Descriptor descriptor_;
    std::span<char> room_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    int error_;
};

/// Enough for small directories, and little enough for the small stacks of an agent's threads.
struct alignas(8) DirectoryRoom {
    char bytes[4096];
};

/// Selector of listings: every entry but "." and "..".
bool skip_dot_entries(std::string_view name);

/// The selected names of a directory in version-sort order, in which session9 stands before session10. Empty
/// unless the directory was read to its end.
class Listing {
public:
    /// `select` is asked for each name, in directory order.
    template <class Select>
    Listing(const char* path, Select&& select) {
        const std::unique_ptr<char[]> room{new char[room_size]};
        Directory directory{path, {room.get(), room_size}};
        while (directory) {
            const auto entry = directory.next();
            if (!entry) break;
            if (select(entry->name)) text_.insert(text_.end(), entry->name.begin(), entry->name.end() + 1);
        }
        error_ = directory.error();
        if (complete()) sort_names();
    }

    /// Whether it was read to its end.
    bool complete() const { return error_ == 0; }
    /// Why not: ENOENT when nothing stands there. Otherwise nothing is known of what it holds.
    int error() const { return error_; }

    bool empty() const { return names_.empty(); }
    std::size_t size() const { return names_.size(); }
    /// Each NUL-terminated, and valid as long as the listing.
    auto begin() const { return names_.begin(); }
    auto end() const { return names_.end(); }
    std::string_view back() const { return names_.back(); }

private:
    static constexpr std::size_t room_size = 32768;

    void sort_names();

    int error_;
    std::vector<char> text_;  ///< all names, each with its NUL
    std::vector<std::string_view> names_;
};

}  // namespace opinit
