// Taking turns at writing the initiator's files.
#pragma once

#include <chrono>

#include "core/base/host_files.h"

namespace opinit {

/// Keeps other callers of this library, threads and processes, from writing while it lives. Tests as false
/// when whoever has locked the file does not let it go in time.
class WritersTurn {
public:
    using Clock = std::chrono::steady_clock;

    /// `file` must be open for writing and stay open. One that was not opened, and a file system without
    /// locks, give everyone a turn.
    WritersTurn(const File& file, Clock::time_point deadline);
    WritersTurn(const WritersTurn&) = delete;
    WritersTurn& operator=(const WritersTurn&) = delete;
    ~WritersTurn();

    explicit operator bool() const { return mine_; }
    /// Whether the lock was not to be had at once.
    bool came_late() const { return late_; }

private:
    const File& file_;
    bool mine_;
    bool late_;
};

}  // namespace opinit
