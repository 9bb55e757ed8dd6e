// Who takes the targets that a reader finds in a discovery database.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/base/descriptor.h"
#include "targets/names.h"

namespace opinit {

/// Where all targets of one portal directory are probed: what the last usable entry of those wanted says.
struct ProbedPortal {
    std::string_view address;
    std::uint16_t port;
    std::uint8_t tag;
};

/// Texts are valid during a call only.
class TargetReceiver {
public:
    /// Whether this receiver wants the entries of a target; it is handed no others. Asked in directory order.
    virtual bool wants(std::string_view) const { return true; }
    /// A target, by the entry of its first portal. False when memory is out.
    virtual bool add_target(const TargetEntry& entry, const ProbedPortal& probed) = 0;
    /// A further portal of the target added last. False when memory is out.
    virtual bool add_portal(const TargetEntry& entry) = 0;

    /// A directory names targets, wanted ones or not.
    void note_usable_directory() { ++usable_directories_; }
    std::size_t usable_directories() const { return usable_directories_; }

    /// A directory could not be read, for the reason that errno gave.
    void note_unreadable(int error) {
        if (!nothing_there(error)) complete_ = false;
    }
    /// Whether all that discovery recorded could be read so far.
    bool complete() const { return complete_; }

    /// Memory ran out: what comes behind is not known.
    void note_early_end() { ended_early_ = true; }
    bool ended_early() const { return ended_early_; }

protected:
    ~TargetReceiver() = default;

private:
    std::size_t usable_directories_ = 0;
    bool complete_ = true;
    bool ended_early_ = false;
};

}  // namespace opinit
