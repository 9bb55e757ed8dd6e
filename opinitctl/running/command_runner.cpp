#include "running/command_runner.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <system_error>

#include "host/host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/diagnostics.h"
#include "shown/safe_text.h"
#include "shown/terminal.h"

namespace opinitctl {
namespace {

using namespace std::chrono_literals;

/// The one whose turn it is; the library knows of none.
CommandRunner* current = nullptr;

/// Between the request to end and the order, and from there until a process is left to itself.
constexpr auto patience = 2s;
/// Children of a shell that has ended tell nobody when they end.
constexpr auto look_at_children = 20ms;

/// A full or read-only /tmp must not stop whoever wants to log out.
std::string new_directory() {
    const char* const usual = std::getenv("TMPDIR");
    for (const std::string parent : {usual == nullptr ? "/tmp" : usual, "/tmp", "/run"}) {
        std::string path = parent + "/opinitctl.XXXXXX";
        if (mkdtemp(path.data()) != nullptr) return path;
    }
    throw std::system_error(errno, std::generic_category(), "cannot make a directory for captured output");
}

constexpr std::string_view captured_ending = " 1&>";

/// A command that is captured as only bash understands it, as every shell does; none for another.
std::optional<std::string> portable_capture(std::string_view command) {
    const std::size_t ending = command.rfind(captured_ending);
    if (ending == command.npos) return {};
    return std::string(command.substr(0, ending)) + " 1 >" +
           std::string(command.substr(ending + captured_ending.size())) + " 2>&1";
}

/// On one line, with stars in the place of a secret: the value of a setting of this name, and the last word
/// of its command.
std::string shown_command(std::string_view command) {
    std::string_view hidden;
    if (const std::size_t setting = command.find(".auth.password"); setting != command.npos) {
        constexpr std::string_view value_option = " -v ";
        const std::size_t value = command.find(value_option, setting);
        if (value != command.npos) command = command.substr(0, value + value_option.size());
        hidden = stars;
    }
    std::string line;
    for (const char character : command) {
        const bool more_space = character == '\t' || (character == ' ' && line.ends_with(' '));
        if (!more_space) line += character;
    }
    return line.append(hidden);
}

int checked(int fd) {
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot keep what commands print");
    return fd;
}

std::string take_content(int fd) {
    std::string text;
    std::array<char, 4096> piece;
    for (ssize_t count;
         (count = pread(fd, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    if (ftruncate(fd, 0) == 0) lseek(fd, 0, SEEK_SET);
    return text;
}

}  // namespace

CommandRunner::CommandRunner(const std::string& what, std::chrono::seconds limit, Clock::time_point begin)
    : what_(what),
      limit_(limit),
      begin_(begin),
      directory_(new_directory()),
      captured_(directory_ + "/output"),
      captured_before_(tmperrfile),
      printed_(checked(memfd_create("command output", MFD_CLOEXEC))) {
    tmperrfile = captured_.c_str();
    current = this;
}

CommandRunner::~CommandRunner() {
    current = nullptr;
    tmperrfile = captured_before_;
    unlink(captured_.c_str());
    rmdir(directory_.c_str());
    close(printed_);
}

int CommandRunner::run(const char* command) {
    look_at_the_time();
    if (given_up()) return -1;
    if (shows_commands) show_command(shown_command(command));
    // Not of every command, since some hold a secret.
    const std::optional<std::string> captured = portable_capture(command);
    CommandProcess process(captured ? captured->c_str() : command, printed_, signals_.mask_before());
    await(process);
    said_ += take_content(printed_);
    if (captured) said_ += text_in(captured_) + '\n';
    return process.status();
}

void CommandRunner::await(CommandProcess& process) {
    for (;;) {
        const bool running = process.is_running();
        if (!running && !(given_up() && process.has_members())) break;
        notice(signals_.wait(time_to_next_look(running)));
        look_at_the_time();
        if (given_up() && !end(process)) break;
    }
    erase_progress();
}

std::chrono::milliseconds CommandRunner::time_to_next_look(bool shell_is_running) const {
    if (!shell_is_running || given_up()) return look_at_children;
    const auto elapsed = Clock::now() - begin_;
    auto next = std::chrono::floor<std::chrono::seconds>(elapsed) + 1s;
    if (limit_ > 0s) next = std::min(next, limit_);
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(next - elapsed), 0ms);
}

void CommandRunner::notice(int signal) {
    if (signal != 0 && signal != SIGCHLD) interruption_ = signal;
}

void CommandRunner::look_at_the_time() {
    const auto elapsed = std::chrono::floor<std::chrono::seconds>(Clock::now() - begin_);
    if (limit_ > 0s && elapsed >= limit_) timed_out_ = true;
    if (elapsed >= 1s && !given_up()) show_progress(elapsed);
}

/// Whether it is still worth waiting for.
bool CommandRunner::end(const CommandProcess& process) {
    const auto now = Clock::now();
    if (!asked_to_end_) {
        asked_to_end_ = now;
        process.send(SIGTERM);
    } else if (now - *asked_to_end_ > patience) {
        process.send(SIGKILL);
    }
    return now - *asked_to_end_ <= 2 * patience;
}

void CommandRunner::show_progress(std::chrono::seconds elapsed) {
    const std::size_t columns = terminal_width(STDERR_FILENO);
    const std::string time = ": " + std::to_string(elapsed.count()) + " s";
    if (columns <= time.size()) return;
    erase_progress();
    // The last column stays free: a line that fills it cannot be taken back everywhere.
    const std::string line = safe_text(what_).substr(0, columns - 1 - time.size()) + time;
    std::cerr << line << std::flush;
    progress_ = line.size();
}

void CommandRunner::erase_progress() {
    if (progress_ == 0) return;
    std::cerr << '\r' << std::string(progress_, ' ') << '\r' << std::flush;
    progress_ = 0;
}

std::vector<std::string> CommandRunner::said() const {
    std::vector<std::string> lines = split(said_, '\n');
    std::erase(lines, "");
    return lines;
}

int CommandRunner::interruption() {
    while (const int signal = signals_.wait(0ms)) notice(signal);
    return interruption_;
}

}  // namespace opinitctl

/// What the library calls. Behind it stands the C library's contract: the same shell, the same results, and
/// errno as it was unless the command could not be run.
extern "C" int system(const char* command) {
    using namespace opinitctl;
    if (command == nullptr) return 1;
    const int error_before = errno;
    try {
        if (current != nullptr) {
            const int status = current->run(command);
            errno = error_before;
            return status;
        }
        CommandRunner runner("run a command", 0s);
        return runner.run(command);
    } catch (const std::system_error& error) {
        errno = error.code().value();
    } catch (const std::exception&) {
        errno = ENOMEM;
    }
    return -1;
}
