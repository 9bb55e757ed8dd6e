#include "targets/target_probe.h"

#include "targets/database.h"

namespace opinit {

const SessionTable& TargetProbe::sessions() {
    if (!sessions_) sessions_ = SessionTable::read();
    return *sessions_;
}

bool TargetProbe::logged_in(std::string_view target_name, const ProbedPortal& portal) {
    return sessions().find(portal.address, portal.port, target_name) >= 0;
}

bool TargetProbe::sessions_known() {
    return sessions().complete();
}

void TargetProbe::mark(_TargetInformation& record, const ProbedPortal& portal) {
    record.node_index = 1;
    record.persistent = _read_node_startup(record.target_name, portal);
    record.logged_in = logged_in(record.target_name, portal) ? 1 : 0;
}

}  // namespace opinit
