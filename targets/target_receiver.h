// Who takes the targets that a reader finds in a discovery database.
#pragma once

#include <cerrno>
#include <cstdint>

#include "targets/names.h"

namespace opinit {

/// Where all targets of one portal directory are probed: what its last usable entry says.
struct ProbedPortal {
    std::string_view address;
    std::uint16_t port;
    std::uint8_t tag;
};

/// Texts are valid during a call only.
class TargetReceiver {
public:
    /// A directory could not be read, for the reason that errno gave.
    void note_unreadable(int error) {
        // What is no directory holds no targets.
        if (error != ENOENT && error != ENOTDIR) complete_ = false;
    }
    /// Whether all that discovery recorded could be read.
    bool complete() const { return complete_; }

    /// A target, by the entry of its first portal. False when memory is out.
    virtual bool add_target(const TargetEntry& entry, const ProbedPortal& probed) = 0;
    /// A further portal of the target added last. False when memory is out.
    virtual bool add_portal(const TargetEntry& entry) = 0;

protected:
    ~TargetReceiver() = default;

private:
    bool complete_ = true;
};

}  // namespace opinit
