#pragma once

#include <optional>
#include <string>
#include <vector>

#include "portal.h"

namespace simhost {

// A session as iscsiadm sees it in sysfs, whoever made it.
struct LiveSession {
    unsigned sid = 0;
    std::string target;
    std::string tag;
    Portal portal;
};

// In the order of their numbers.
std::vector<LiveSession> live_sessions();

std::optional<LiveSession> find_session(const std::vector<LiveSession>& sessions, const std::string& target,
                                        const Portal& portal);

}  // namespace simhost
