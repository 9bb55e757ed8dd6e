// One look at the live sessions, for questions about many targets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/base/record_list.h"

namespace opinit {

/// The sessions as they were when the table was made; a lookup costs the same however many there are.
class SessionTable {
public:
    static SessionTable read();

    /// Number (0 to 255) of the first session that goes to this address and port and serves this target, or
    /// -1. The address is compared with the plain dotted text of the connection's address.
    int find(std::string_view address, std::uint16_t port, std::string_view target_name) const;

private:
    std::unordered_map<std::string, std::uint8_t> numbers_;
};

}  // namespace opinit
