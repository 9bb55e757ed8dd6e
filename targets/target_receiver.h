// Who takes the targets that a reader finds in a discovery database.
#pragma once

#include <cerrno>
#include <cstddef>
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
    /// Whether an entry is of use to this receiver, which is handed no other ones. Asked in directory order.
    virtual bool wants(const TargetEntry&) const { return true; }
    /// A target, by the entry of its first portal. False when memory is out.
    virtual bool add_target(const TargetEntry& entry, const ProbedPortal& probed) = 0;
    /// A further portal of the target added last. False when memory is out.
    virtual bool add_portal(const TargetEntry& entry) = 0;

    /// Entries were found, wanted ones or not.
    void note_entries(std::size_t count) { entries_ += count; }
    std::size_t entries() const { return entries_; }

    /// A directory could not be read, for the reason that errno gave.
    void note_unreadable(int error) {
        // What is no directory holds no targets.
        if (error != ENOENT && error != ENOTDIR) complete_ = false;
    }
    /// Whether all that discovery recorded could be read.
    bool complete() const { return complete_; }

protected:
    ~TargetReceiver() = default;

private:
    std::size_t entries_ = 0;
    bool complete_ = true;
};

}  // namespace opinit
