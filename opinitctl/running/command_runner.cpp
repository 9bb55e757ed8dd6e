#include "running/command_runner.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <system_error>

#include "running/command_text.h"

namespace opinitctl {
namespace {

using namespace std::chrono_literals;

/// The one whose turn it is; the library knows of none.
CommandRunner* current = nullptr;

/// Between the request to end and the order, and from there until a process is left to itself.
constexpr auto patience = 2s;
/// Children of a shell that has ended tell nobody when they end.
constexpr auto look_at_children = 20ms;

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

CommandRunner::CommandRunner(const std::string& what, std::chrono::seconds limit)
    : progress_(what), limit_(limit), printed_(checked(memfd_create("command output", MFD_CLOEXEC))) {
    current = this;
}

CommandRunner::~CommandRunner() {
    current = nullptr;
    close(printed_);
}

int CommandRunner::run(const char* command) {
    if (given_up()) return -1;
    if (shows_commands) std::cerr << "+ " << shown_command(command) << std::endl;
    CommandProcess process(command, printed_, signals_.mask_before());
    // A shell that takes the redirection for two commands runs the first in the background.
    await(process, directory_.captures(command));
    collect_output(command);
    return process.status();
}

void CommandRunner::await(CommandProcess& process, bool with_children) {
    for (;;) {
        const bool running = process.is_running();
        if (!running && !((with_children || given_up()) && process.has_members())) break;
        notice(signals_.wait(time_to_next_look(running)));
        look_at_the_time();
        if (given_up() && !end(process)) break;
    }
    progress_.erase();
}

std::chrono::milliseconds CommandRunner::time_to_next_look(bool shell_is_running) const {
    if (!shell_is_running || given_up()) return look_at_children;
    const auto elapsed = Clock::now() - begin_;
    auto next = std::chrono::floor<std::chrono::seconds>(elapsed) + 1s;
    if (limit_ > 0s) next = std::min(next, std::max(limit_, 0s));
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(next - elapsed), 0ms);
}

void CommandRunner::notice(int signal) {
    if (signal != 0 && signal != SIGCHLD) interruption_ = signal;
}

void CommandRunner::look_at_the_time() {
    const auto elapsed = std::chrono::floor<std::chrono::seconds>(Clock::now() - begin_);
    if (limit_ > 0s && elapsed >= limit_) timed_out_ = true;
    if (elapsed >= 1s && !given_up()) progress_.show(elapsed);
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

void CommandRunner::collect_output(const std::string& command) {
    said_ += take_content(printed_);
    if (directory_.captures(command)) said_ += directory_.captured();
}

std::vector<std::string> CommandRunner::said() const {
    std::vector<std::string> lines;
    std::istringstream text(said_);
    for (std::string line; std::getline(text, line);) lines.push_back(line);
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
