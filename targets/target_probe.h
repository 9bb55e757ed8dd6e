// What the target list says of a target beside its name.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "sessions/session_table.h"
#include "targets/target_receiver.h"

namespace opinit {

struct TargetMarks {
    std::uint8_t persistent;
    std::uint8_t logged_in;
};

/// Looks at the live sessions once, when the first question about them comes.
class TargetProbe {
public:
    bool logged_in(std::string_view target_name, const ProbedPortal& portal);

    /// Whether every session that may be the target's could be read. Unless they could, it may be logged in
    /// although it is said not to be.
    bool sessions_known(std::string_view target_name);

    TargetMarks marks(std::string_view target_name, const ProbedPortal& portal);

private:
    SessionTable& sessions();

    std::optional<SessionTable> sessions_;
};

}  // namespace opinit
