// One look at the live sessions, for questions about many targets.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opinit {

/// The sessions as they were when the table was made. Where one goes is read when its target is asked for.
class SessionTable {
public:
    SessionTable();

    /// Number (0 to 255) of the first session that goes to this address and port and serves this target, or
    /// -1. The address is compared with the plain text of the connection's address: dotted, or as IPv6
    /// addresses are shortened.
    int find(std::string_view address, std::uint16_t port, std::string_view target_name);

    /// Whether all that could serve this target can be read: only then it has no session where none is found.
    bool knows_all_to(std::string_view target_name);

private:
    struct Destination {
        bool counts;   ///< whether the session has a connection record
        bool certain;  ///< whether that is so for sure
        std::string address;
        std::uint16_t port;
    };

    static Destination read_destination(std::uint8_t session);
    const Destination& destination_of(std::uint8_t session);

    bool listed_ = true;  ///< whether all sessions and their targets are known
    /// Their numbers, by target; those of one target as they are listed.
    std::multimap<std::string, std::uint8_t, std::less<>> sessions_;
    /// By number. Sessions 256 apart share one, and with it the files of their connection, which are read
    /// once. There is room for all from the beginning: to answer takes no memory.
    std::vector<std::optional<Destination>> destinations_;
};

}  // namespace opinit
