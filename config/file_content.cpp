#include "config/file_content.h"

#include <unistd.h>

namespace opinit {
namespace {

bool write_at(const File& file, std::size_t offset, std::string_view text) {
    while (!text.empty()) {
        const ssize_t size = uninterrupted([&] {
            return ::pwrite(file.descriptor(), text.data(), text.size(), static_cast<off_t>(offset));
        });
        if (size <= 0) return false;
        offset += static_cast<std::size_t>(size);
        text.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
}

bool cut(const File& file, std::size_t size) {
    return uninterrupted([&] { return ::ftruncate(file.descriptor(), static_cast<off_t>(size)); }) == 0;
}

bool reach_the_disk(const File& file) {
    return uninterrupted([&] { return ::fsync(file.descriptor()); }) == 0;
}

bool overwrite(const File& file, std::size_t old_size, std::string_view text) {
    // What the file grows by is written first: a full disk shows while nothing is overwritten yet. It shrinks
    // last: until then it has the room to put the old content back.
    if (text.size() > old_size && !write_at(file, old_size, text.substr(old_size))) return false;
    if (!write_at(file, 0, text.substr(0, old_size))) return false;
    if (text.size() < old_size && !cut(file, text.size())) return false;
    // Some file systems tell of a full or failing disk only when asked for what they have not written yet.
    return reach_the_disk(file);
}

/// Each step is tried whatever became of the one before: the length alone may be all there is to undo.
void put_back(const File& file, std::string_view old) {
    write_at(file, 0, old);
    cut(file, old.size());
    reach_the_disk(file);
}

}  // namespace

std::optional<SecretText> read_content(const File& file, std::size_t expected, std::size_t enough) {
    SecretText content;
    content.resize(expected + 1);
    std::size_t end = 0;
    while (end < enough) {
        const std::ptrdiff_t size = file.read(content.from(end));
        if (size < 0) return std::nullopt;
        if (size == 0) break;
        end += static_cast<std::size_t>(size);
        if (end == content.view().size()) content.resize(2 * end);
    }
    content.resize(end);
    return content;
}

bool fill_new_file(const File& file, std::string_view text) {
    return write_at(file, 0, text);
}

bool replace_content(const File& file, std::string_view old, std::string_view text) {
    if (overwrite(file, old.size(), text)) return true;
    put_back(file, old);
    return false;
}

}  // namespace opinit
