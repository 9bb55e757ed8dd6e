#include "live_sessions.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "files.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

LiveSession read_session(unsigned sid) {
    const std::string number = std::to_string(sid);
    const fs::path session = "/sys/class/iscsi_session/session" + number;
    const fs::path connection = "/sys/class/iscsi_connection/connection" + number + ":0";
    return {sid,
            read_line(session / "targetname"),
            read_line(session / "tpgt"),
            {read_line(connection / "persistent_address"),
             parse_number(read_line(connection / "persistent_port")).value_or(0)}};
}

}  // namespace

std::vector<LiveSession> live_sessions() {
    constexpr std::string_view prefix = "session";
    std::vector<LiveSession> sessions;
    for (const std::string& name : names_in("/sys/class/iscsi_session")) {
        if (!name.starts_with(prefix)) continue;
        const auto sid = parse_number(std::string_view(name).substr(prefix.size()));
        if (sid) sessions.push_back(read_session(*sid));
    }
    std::sort(sessions.begin(), sessions.end(),
              [](const LiveSession& a, const LiveSession& b) { return a.sid < b.sid; });
    return sessions;
}

std::optional<LiveSession> find_session(const std::vector<LiveSession>& sessions, const std::string& target,
                                        const Portal& portal) {
    for (const LiveSession& session : sessions) {
        if (session.target == target && session.portal == portal) return session;
    }
    return std::nullopt;
}

}  // namespace simhost
