#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

#include "safe_text.h"

namespace opinitctl {
namespace {

constexpr std::size_t usual_width = 80;

/// Columns of the terminal, 0 when it is none.
std::size_t width() {
    if (isatty(STDERR_FILENO) == 0) return 0;
    winsize size = {};
    ioctl(STDERR_FILENO, TIOCGWINSZ, &size);
    return size.ws_col == 0 ? usual_width : size.ws_col;
}

}  // namespace

void ProgressLine::show(std::chrono::seconds elapsed) {
    const std::size_t columns = width();
    const std::string time = ": " + std::to_string(elapsed.count()) + " s";
    if (columns <= time.size()) return;
    erase();
    // The last column stays free: a line that fills it cannot be taken back everywhere.
    const std::string line = safe_text(what_).substr(0, columns - 1 - time.size()) + time;
    std::cerr << line << std::flush;
    shown_ = line.size();
}

void ProgressLine::erase() {
    if (shown_ == 0) return;
    std::cerr << '\r' << std::string(shown_, ' ') << '\r' << std::flush;
    shown_ = 0;
}

}  // namespace opinitctl
