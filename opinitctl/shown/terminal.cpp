#include "shown/terminal.h"

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "shown/safe_text.h"

namespace opinitctl {
namespace {

constexpr std::size_t usual_width = 80;

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

std::size_t terminal_width(int fd) {
    if (isatty(fd) == 0) return 0;
    winsize size = {};
    ioctl(fd, TIOCGWINSZ, &size);
    return size.ws_col == 0 ? usual_width : size.ws_col;
}

bool agrees(const std::string& question) {
    std::cerr << safe_text(question) << "? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return strcasecmp(answer.c_str(), "y") == 0 || strcasecmp(answer.c_str(), "yes") == 0;
}

bool wants_colours() {
    const std::string_view terminal = variable("TERM");
    return isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && !terminal.empty() &&
           terminal != "dumb";
}

}  // namespace opinitctl
