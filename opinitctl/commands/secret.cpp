#include "commands/secret.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "errors.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

std::size_t read_some(int fd, std::span<char> room) {
    ssize_t count = 0;
    while ((count = read(fd, room.data(), room.size())) < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(std::string("cannot read the secret: ") + std::strerror(errno));
    return static_cast<std::size_t>(count);
}

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
            const std::size_t count = read_some(fd_, room.subspan(length));
            if (count == 0) break;
            length += count;
        }
        return length;
    }

private:
    bool own_;
    int fd_;
};

/// Signals that come in while it lives are noticed by `input_in` and nowhere else, so that none is lost
/// between the prompt and the wait for its answer. What the program was started to ignore stays ignored.
class NoticedSignals {
public:
    NoticedSignals() {
        noticed = 0;
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : signals) sigaddset(&held, signal);
        sigprocmask(SIG_BLOCK, &held, &mask_before_);
        struct sigaction action = {};
        action.sa_handler = [](int signal) { noticed = signal; };
        for (std::size_t i = 0; i < signals.size(); ++i) {
            sigaction(signals[i], nullptr, &before_[i]);
            if (before_[i].sa_handler != SIG_IGN) sigaction(signals[i], &action, nullptr);
        }
    }
    ~NoticedSignals() {
        for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &before_[i], nullptr);
        sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
    }
    NoticedSignals(const NoticedSignals&) = delete;
    NoticedSignals& operator=(const NoticedSignals&) = delete;

    /// Waits for input, and answers 0, or for a signal, and answers that.
    int input_in(int fd) const {
        pollfd input = {fd, POLLIN, 0};
        noticed = 0;
        while (ppoll(&input, 1, nullptr, &mask_before_) < 0 && noticed == 0) continue;
        return noticed;
    }

private:
    static constexpr std::array signals = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP};
    static inline volatile std::sig_atomic_t noticed = 0;

    std::array<struct sigaction, signals.size()> before_;
    sigset_t mask_before_;
};

/// A terminal that does not show what is typed.
class QuietTerminal {
public:
    explicit QuietTerminal(int fd) : fd_(fd) {
        tcgetattr(fd_, &before_);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        tcsetattr(fd_, TCSAFLUSH, &quiet);
    }
    ~QuietTerminal() {
        tcsetattr(fd_, TCSAFLUSH, &before_);
        print("\n");
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

    void print(std::string_view text) const {
        if (write(fd_, text.data(), text.size()) < 0) return;
    }

private:
    int fd_;
    termios before_;
};

std::size_t ask(const std::string& owner, std::span<char> room) {
    const auto close = [](FILE* open_file) { std::fclose(open_file); };
    const std::unique_ptr<FILE, decltype(close)> file(std::fopen("/dev/tty", "r+e"), close);
    if (file == nullptr) {
        throw UsageError("no terminal to ask for the secret of " + owner + " at: name a file that holds it");
    }
    const int terminal = fileno(file.get());
    const NoticedSignals signals;
    for (;;) {
        int signal = 0;
        {
            const QuietTerminal quiet(terminal);
            quiet.print("secret of " + safe_text(owner) + ": ");
            if ((signal = signals.input_in(terminal)) == 0) return read_some(terminal, room);
        }
        if (signal != SIGTSTP) throw Interrupted(signal, "interrupted");
        std::raise(SIGSTOP);
    }
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
