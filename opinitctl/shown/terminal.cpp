#include "shown/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

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

bool wants_colours() {
    const std::string_view terminal = variable("TERM");
    return isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && !terminal.empty() &&
           terminal != "dumb";
}

}  // namespace opinitctl
