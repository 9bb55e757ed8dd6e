#include "running/progress.h"

#include <unistd.h>

#include <iostream>

#include "shown/safe_text.h"
#include "shown/terminal.h"

namespace opinitctl {
void ProgressLine::show(std::chrono::seconds elapsed) {
    const std::size_t columns = terminal_width(STDERR_FILENO);
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
