// Every target that discovery recorded.
#include <string>
#include <vector>

#include "core/base/command.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/session_table.h"
#include "targets/database.h"
#include "targets/names.h"

namespace opinit {
namespace {

constexpr int no_portals_recorded = -1;

/// Directory names from the first database that has any.
std::vector<std::string> recorded_portals() {
    for (const char* database : discovery_databases) {
        auto names = list_directory(database, _st_entry_filter);
        if (names && !names->empty()) return *std::move(names);
    }
    return {};
}

void delete_discovery_record(const PortalName& portal) {
    Command command;
    command.text("iscsiadm -m discovery -p ").word(portal_argument(portal.address, portal.port_number()));
    command.text(" -o delete").capture();
    if (run_shell(command.c_str()).outcome != Outcome::done) remove_captured_output();
}

/// All targets of a portal directory are probed at one address, port and tag.
void probe(_TargetInformation* first, const LastEntry& portal, const SessionTable& sessions) {
    for (_TargetInformation* record = first; record != nullptr; record = next_record(record)) {
        record->node_index = 1;
        record->persistent = _read_node_startup(record->target_name, portal);
        record->logged_in = sessions.find(portal.address, portal.port, record->target_name) >= 0 ? 1 : 0;
    }
}

/// 0 or 2 when the directory yielded targets; else 2, 179 or -2.
unsigned int add_targets(const PortalName& portal, TargetRecords& targets, const SessionTable& sessions,
                         bool with_portals) {
    const _TargetInformation* before = targets.last();
    LastEntry last;
    const unsigned int status =
        _read_send_targets(portal_directory(portal.address, portal.port), targets, last, with_portals);
    if (status == database_status::empty) delete_discovery_record(portal);
    if (targets.last() != before) {
        probe(targets.after(before), last, sessions);
        return status;
    }
    const bool kept = status == database_status::empty || status == database_status::out_of_memory;
    return kept ? status : iscsi_status::target_not_found;
}

int build_target_list(TargetRecords& targets, bool with_portals) {
    const std::vector<std::string> names = recorded_portals();
    if (names.empty()) return no_portals_recorded;
    const SessionTable sessions = SessionTable::read();
    unsigned int status = iscsi_status::target_not_found;
    for (const std::string& name : names) {
        const std::optional<PortalName> portal = parse_portal_name(name);
        if (!portal) continue;
        status = add_targets(*portal, targets, sessions, with_portals);
        if (status == database_status::out_of_memory) break;
    }
    if (targets.count() == 0) return static_cast<int>(status);
    targets.hand_over();
    return 0;
}

}  // namespace
}  // namespace opinit

using namespace opinit;

int _GetTargetList(_TargetInformation** list, unsigned char with_portals) {
    constexpr int out_of_memory = database_status::out_of_memory;
    return without_exceptions(out_of_memory, [&] {
        TargetRecords targets{list};
        if (!targets) return out_of_memory;
        return build_target_list(targets, with_portals != 0);
    });
}
