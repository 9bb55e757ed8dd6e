// What ends a command early; main() turns each into its exit code.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace opinitctl {

inline constexpr int exit_done = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;
inline constexpr int exit_not_there = 3;
inline constexpr int exit_not_running = 4;
inline constexpr int exit_interrupted = 130;

/// The command line cannot be meant as it stands. Nothing was done.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The operation was tried and failed.
struct Failure : std::runtime_error {
    explicit Failure(const std::string& text, int exit_code = exit_failed)
        : std::runtime_error(text), code(exit_code) {}

    int code;                       ///< exit code of the program
    unsigned int status = 0;        ///< what the interface answered, 0 where it was not asked
    std::vector<std::string> said;  ///< what its commands printed, line by line
};

/// A signal asked the program to end.
struct Interrupted : Failure {
    Interrupted(int number, const std::string& text) : Failure(text, 128 + number), signal(number) {}

    int signal;
};

}  // namespace opinitctl
