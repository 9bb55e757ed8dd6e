#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>

namespace fs = std::filesystem;

namespace simhost {
namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

}  // namespace

std::optional<std::string> read_file(const fs::path& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) return std::nullopt;
    std::string text;
    char piece[4096];
    for (ssize_t count = 0; (count = ::read(file.get(), piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<std::size_t>(count));
    }
    return text;
}

std::string read_line(const fs::path& path) {
    const std::string text = read_file(path).value_or("");
    return text.substr(0, text.find('\n'));
}

void write_file(const fs::path& path, std::string_view text, mode_t mode) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    // A short write does not happen on the memory file systems that the host is made of, except when full.
    if (file.get() < 0 ||
        ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw fs::filesystem_error("cannot write", path, std::error_code(errno, std::generic_category()));
    }
}

void create_private_directories(const fs::path& path) {
    const mode_t before = ::umask(077);
    std::error_code error;
    fs::create_directories(path, error);
    ::umask(before);
    if (error) throw fs::filesystem_error("cannot make a directory", path, error);
}

std::vector<std::string> names_in(const fs::path& directory) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory, ignored))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::optional<unsigned> parse_number(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

}  // namespace simhost
