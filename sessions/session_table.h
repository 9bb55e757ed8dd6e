// One look at the live sessions, for questions about many targets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace opinit {

/// The sessions as they were when the table was made.
class SessionTable {
public:
    static SessionTable read();

    /// Number (0 to 255) of the first session that goes to this address and port and serves this target, or
    /// -1. The address is compared with the plain dotted text of the connection's address.
    int find(std::string_view address, std::uint16_t port, std::string_view target_name) const;

    /// Whether every session could be read: only then a target that is not found has none.
    bool complete() const { return complete_; }

private:
    struct Session {
        std::string target_name;
        std::string address;
        std::uint16_t port;
        std::uint8_t number;
    };

    bool complete_ = true;
    std::vector<Session> sessions_;  ///< sorted by what is asked for
};

}  // namespace opinit
