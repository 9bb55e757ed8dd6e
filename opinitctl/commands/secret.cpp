#include "commands/secret.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "errors.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

class SecretFile {
public:
    explicit SecretFile(const std::string& name)
        : own_(name != standard_input), fd_(own_ ? open(name.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {
        if (fd_ < 0) throw Failure("cannot read the secret: " + name + ": " + std::strerror(errno));
    }
    ~SecretFile() {
        if (own_) close(fd_);
    }
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;

    bool is_terminal() const { return isatty(fd_) != 0; }

    /// To the end, or until the room is used up.
    std::size_t read_all(std::span<char> room) const {
        std::size_t length = 0;
        while (length < room.size()) {
            const ssize_t count = read(fd_, room.data() + length, room.size() - length);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw Failure(std::string("cannot read the secret: ") + std::strerror(errno));
            if (count == 0) break;
            length += static_cast<std::size_t>(count);
        }
        return length;
    }

private:
    bool own_;
    int fd_;
};

/// Notices a signal that asks the program to end, so that the prompt can put the terminal in order first.
class NoticedSignals {
public:
    NoticedSignals() {
        noticed = 0;
        struct sigaction action = {};
        action.sa_handler = [](int signal) { noticed = signal; };
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &action, &before_[i]);
    }
    ~NoticedSignals() {
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &before_[i], nullptr);
    }
    NoticedSignals(const NoticedSignals&) = delete;
    NoticedSignals& operator=(const NoticedSignals&) = delete;

    static int which() { return noticed; }

private:
    static constexpr std::array signals = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};
    static inline volatile std::sig_atomic_t noticed = 0;

    std::array<struct sigaction, signals.size()> before_;
};

std::size_t ask(const std::string& owner, std::span<char> room) {
    const NoticedSignals signals;
    const std::string prompt = "secret of " + safe_text(owner) + ": ";
    const bool answered =
        readpassphrase(prompt.c_str(), room.data(), room.size(), RPP_REQUIRE_TTY) != nullptr;
    const int error = errno;
    if (signals.which() != 0) throw Interrupted(signals.which(), "interrupted");
    if (!answered && error == ENOTTY) {
        throw UsageError("no terminal to ask for the secret of " + owner + " at: name a file that holds it");
    }
    if (!answered) throw Failure(std::string("cannot ask for the secret: ") + std::strerror(error));
    return std::strlen(room.data());
}

std::size_t read_from(const std::string& source, const std::string& owner, std::span<char> room) {
    if (source.empty()) return ask(owner, room);
    const SecretFile file(source);
    return file.is_terminal() ? ask(owner, room) : file.read_all(room);
}

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

void read_secret(const std::string& source, const std::string& owner, std::span<char> field) {
    Wiped<std::array<char, 512>> content;
    char* const text = content.record.data();
    const std::size_t length = length_of_line(text, read_from(source, owner, content.record));
    const std::string named = source.empty() || source == standard_input ? owner : source;
    if (length == 0) throw Failure("the secret is empty: " + named);
    if (std::any_of(text, text + length, is_control)) {
        throw Failure("a secret must be one line without control characters: " + named);
    }
    if (length >= field.size()) {
        throw Failure("the secret is longer than " + std::to_string(field.size() - 1) +
                      " characters: " + named);
    }
    std::fill(field.begin(), field.end(), '\0');
    std::copy_n(text, length, field.begin());
}

}  // namespace opinitctl
