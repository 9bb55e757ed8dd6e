#include "config/file_content.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace opinit {

std::optional<SecretText> read_content(const File& file) {
    SecretText content;
    std::array<char, 4096> buffer;
    std::ptrdiff_t size;
    while ((size = file.read(buffer)) > 0) content.append({buffer.data(), static_cast<std::size_t>(size)});
    explicit_bzero(buffer.data(), buffer.size());
    if (size < 0) return std::nullopt;
    return content;
}

bool write_content(const File& file, std::string_view text) {
    // What the file holds is overwritten and only then cut to length, so a full disk keeps the room it needs
    // for putting the old content back. Errors that would only show when it is closed are asked for by fsync.
    off_t written = 0;
    while (!text.empty()) {
        const ssize_t size = ::pwrite(file.descriptor(), text.data(), text.size(), written);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return false;
        written += size;
        text.remove_prefix(static_cast<std::size_t>(size));
    }
    return ::ftruncate(file.descriptor(), written) == 0 && ::fsync(file.descriptor()) == 0;
}

bool replace_content(const File& file, std::string_view old, std::string_view text) {
    if (write_content(file, text)) return true;
    write_content(file, old);
    return false;
}

}  // namespace opinit
