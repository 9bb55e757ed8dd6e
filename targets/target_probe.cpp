#include "targets/target_probe.h"

#include "targets/database.h"

namespace opinit {

SessionTable& TargetProbe::sessions() {
    if (!sessions_) sessions_.emplace();
    return *sessions_;
}

bool TargetProbe::logged_in(std::string_view target_name, const ProbedPortal& portal) {
    return sessions().find(portal.address, portal.port, target_name) >= 0;
}

bool TargetProbe::sessions_known(std::string_view target_name) {
    return sessions().knows_all_to(target_name);
}

TargetMarks TargetProbe::marks(std::string_view target_name, const ProbedPortal& portal) {
    const std::uint8_t persistent = _read_node_startup(target_name, portal);
    return {persistent, static_cast<std::uint8_t>(logged_in(target_name, portal) ? 1 : 0)};
}

}  // namespace opinit
