// What ends a command early; main() turns each into its exit code.
#pragma once

#include <stdexcept>

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
};

}  // namespace opinitctl
