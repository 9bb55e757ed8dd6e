#include "host/host_files.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace opinitctl {

Failure cannot_read(const std::string& path, int error) {
    const bool needs_root = (error == EACCES || error == EPERM) && geteuid() != 0;
    return Failure("cannot read " + path + ": " + std::generic_category().message(error) +
                   (needs_root ? " (run it as root)" : ""));
}

bool nothing_there(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

// Not a stream: reading a few hundred attributes is most of what a listing does.
std::string text_in(const std::string& path) {
    std::string text;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return text;
    std::array<char, 4096> piece;
    for (ssize_t count; (count = read(fd, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    close(fd);
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

std::vector<std::string> lines_in(const std::string& path) {
    std::istringstream text(text_in(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> names_in(const std::string& path) {
    std::vector<std::string> names;
    std::error_code unreadable;
    for (std::filesystem::directory_iterator entry(path, unreadable), end; !unreadable && entry != end;
         entry.increment(unreadable)) {
        names.push_back(entry->path().filename().string());
    }
    if (unreadable && !nothing_there(unreadable.value())) throw cannot_read(path, unreadable.value());
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
        return strverscmp(left.c_str(), right.c_str()) < 0;
    });
    return names;
}

std::string link_text(const std::string& path) {
    std::error_code no_link;
    return std::filesystem::read_symlink(path, no_link).string();
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces(1);
    for (const char character : text) {
        if (character == separator) {
            pieces.emplace_back();
        } else {
            pieces.back() += character;
        }
    }
    return pieces;
}

std::optional<unsigned int> number_in(const std::string& text) {
    unsigned int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool plain = text.size() < 2 || text[0] != '0';
    return plain && error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace opinitctl
