#include "command_output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>

#include "safe_text.h"

namespace opinitctl {
namespace {

int checked(int fd) {
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot capture command output");
    return fd;
}

std::string content(int fd) {
    std::string text;
    std::array<char, 4096> piece;
    for (ssize_t count;
         (count = pread(fd, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
}

void close_if_open(int fd) {
    if (fd >= 0) close(fd);
}

}  // namespace

CommandOutput::CommandOutput() : captured_(checked(memfd_create("command output", MFD_CLOEXEC))) {
    std::cout.flush();
    standard_output_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    standard_error_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(captured_, STDOUT_FILENO);
    dup2(captured_, STDERR_FILENO);
}

CommandOutput::~CommandOutput() {
    restore();
    close(captured_);
}

void CommandOutput::restore() {
    for (auto [saved, stream] :
         {std::pair{&standard_output_, STDOUT_FILENO}, {&standard_error_, STDERR_FILENO}}) {
        if (*saved >= 0) dup2(*saved, stream);
        close_if_open(*saved);
        *saved = -1;
    }
}

void CommandOutput::relay() {
    restore();
    std::istringstream lines(content(captured_));
    for (std::string line; std::getline(lines, line);) std::cerr << safe_text(line) << '\n';
}

}  // namespace opinitctl
