#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "portal.h"
#include "session_entries.h"

// What the simulated network offers: the table in /run/simhost/network.json.

namespace simhost {

enum class PortalState { up, refusing, dead };

struct NetworkPortal {
    Portal portal;
    PortalState state = PortalState::up;
    std::string initiator_address;
};

struct Credentials {
    std::string user;
    std::string secret;
};

struct Target {
    std::string name;
    int tag = 1;
    std::vector<Portal> portals;
    std::vector<Lun> luns;
    std::optional<Credentials> chap;
    std::optional<Credentials> mutual;
};

struct Network {
    std::vector<NetworkPortal> portals;
    std::vector<Target> targets;
    // How long a login waits before it gives up; a real one waits two minutes.
    std::chrono::milliseconds login_timeout{0};

    // A portal that the table does not name refuses.
    NetworkPortal portal_at(const Portal& portal) const;
    const Target* find_target(const std::string& name, const Portal& portal) const;
};

// Throws Failure that says what is wrong with the table.
Network load_network();

}  // namespace simhost
