// Taking turns at writing the initiator's files.
#pragma once

#include "core/base/host_files.h"

namespace opinit {

/// Keeps other callers of this library, threads and processes, from writing while it lives. Tests as false
/// when another one does not come to an end.
class WritersTurn {
public:
    /// `file` must be open for writing and stay open. One that was not opened, and a file system without
    /// locks, give everyone a turn.
    explicit WritersTurn(const File& file);
    WritersTurn(const WritersTurn&) = delete;
    WritersTurn& operator=(const WritersTurn&) = delete;
    ~WritersTurn();

    explicit operator bool() const { return mine_; }

private:
    const File& file_;
    bool mine_;
};

}  // namespace opinit
