// What a person at a terminal is told while nothing else happens.
#pragma once

#include <chrono>
#include <string>

namespace opinitctl {

/// A line on standard error, rewritten in place and erased in the end; none where that is no terminal.
class ProgressLine {
public:
    explicit ProgressLine(std::string what) : what_(std::move(what)) {}
    ~ProgressLine() { erase(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(std::chrono::seconds elapsed);
    void erase();

private:
    std::string what_;
    std::size_t shown_ = 0;
};

}  // namespace opinitctl
