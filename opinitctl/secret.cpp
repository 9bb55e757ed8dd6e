#include "secret.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "errors.h"

namespace opinitctl {
namespace {

class Source {
public:
    explicit Source(const std::string& name)
        : own_(name != standard_input), fd_(own_ ? open(name.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {
        if (fd_ < 0) throw Failure("cannot read the secret: " + name + ": " + std::strerror(errno));
        terminal_ = tcgetattr(fd_, &modes_) == 0;
        if (terminal_) ask();
    }
    ~Source() {
        if (terminal_) restore_echo();
        if (own_) close(fd_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// Up to a newline at a terminal, else to the end or until the room is used up.
    std::size_t read_all(char* out, std::size_t size) const {
        std::size_t length = 0;
        while (length < size) {
            const ssize_t count = read(fd_, out + length, size - length);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw Failure(std::string("cannot read the secret: ") + std::strerror(errno));
            length += static_cast<std::size_t>(count);
            if (count == 0 || terminal_) break;
        }
        return length;
    }

private:
    void ask() {
        termios silent = modes_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(fd_, TCSAFLUSH, &silent);
        std::cerr << "secret: ";
    }
    void restore_echo() {
        tcsetattr(fd_, TCSAFLUSH, &modes_);
        std::cerr << '\n';
    }

    bool own_;
    int fd_;
    termios modes_ = {};
    bool terminal_ = false;
};

std::size_t length_of_line(const char* text, std::size_t length) {
    if (length > 0 && text[length - 1] == '\n') --length;
    if (length > 0 && text[length - 1] == '\r') --length;
    return length;
}

bool is_control(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
}

}  // namespace

void read_secret(const std::string& source, char* field, std::size_t size) {
    Wiped<std::array<char, 512>> content;
    char* const text = content.record.data();
    const std::size_t length = length_of_line(text, Source(source).read_all(text, content.record.size()));
    if (length == 0) throw Failure("the secret is empty: " + source);
    if (std::any_of(text, text + length, is_control)) {
        throw Failure("a secret must be one line without control characters: " + source);
    }
    if (length >= size) {
        throw Failure("the secret is longer than " + std::to_string(size - 1) + " characters: " + source);
    }
    std::fill_n(field, size, '\0');
    std::copy_n(text, length, field);
}

}  // namespace opinitctl
