// What ends a command early; main() turns each into its exit code.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace opinitctl {

inline constexpr int exit_done = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;

/// The command line cannot be meant as it stands. Nothing was done.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The operation was tried and failed.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;

    unsigned int status = 1;        ///< what the interface answered
    std::vector<std::string> said;  ///< what its commands printed, line by line
};

/// A signal asked the program to end.
struct Interrupted : Failure {
    Interrupted(int number, const std::string& text) : Failure(text), signal(number) {}

    int signal;
};

}  // namespace opinitctl
