#include "targets/target_list.h"

#include <optional>

#include "core/base/captured_output.h"
#include "core/base/command.h"
#include "core/base/directory.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/database.h"
#include "targets/target_records.h"

namespace opinit {
namespace {

constexpr int no_portals_recorded = -1;
constexpr int out_of_memory = database_status::out_of_memory;

/// Directory names from the first database that has any.
Listing recorded_portals(TargetReceiver& targets) {
    Listing names{discovery_databases[0], _st_entry_filter};
    if (!names.complete()) targets.note_unreadable(names.error());
    return names.empty() ? Listing{discovery_databases[1], _st_entry_filter} : std::move(names);
}

void delete_discovery_record(const PortalName& portal) {
    Command command;
    command.text("iscsiadm -m discovery -p ").word(portal_argument(portal.address, portal.port_number()));
    command.text(" -o delete").capture();
    if (run_captured(command.c_str()).outcome != Outcome::done) remove_captured_output();
}

/// 0 or 2 when the directory yielded targets; else 2, 179 or -2.
unsigned int read_portal(const PortalName& portal, TargetReceiver& targets) {
    const std::size_t before = targets.usable_directories();
    const unsigned int status =
        _read_send_targets(portal_directory(portal.address, portal.port).view(), targets);
    if (status == database_status::empty) delete_discovery_record(portal);
    const bool kept = status == database_status::empty || status == database_status::out_of_memory;
    return kept || targets.usable_directories() != before ? status : iscsi_status::target_not_found;
}

}  // namespace

int walk_recorded_targets(TargetReceiver& targets) {
    const Listing names = recorded_portals(targets);
    if (names.empty()) return no_portals_recorded;
    unsigned int status = iscsi_status::target_not_found;
    for (const std::string_view name : names) {
        const std::optional<PortalName> portal = parse_portal_name(name);
        if (!portal) continue;
        // Also where a command cannot be put together: what was handed over stays.
        status =
            without_exceptions(database_status::out_of_memory, [&] { return read_portal(*portal, targets); });
        if (status != database_status::out_of_memory) continue;
        targets.note_early_end();
        break;
    }
    return targets.usable_directories() != 0 ? 0 : static_cast<int>(status);
}

int deliver_target_list(void* buffer, unsigned int* bytes) {
    const bool wanted = buffer != nullptr && bytes != nullptr;
    TargetDelivery delivery{wanted ? buffer : nullptr};
    const int result = without_exceptions(out_of_memory, [&] { return walk_recorded_targets(delivery); });
    if (wanted && result >= 0) *bytes = delivery.bytes();
    return result;
}

}  // namespace opinit

int _GetTargetList(_TargetInformation** list, unsigned char with_portals) {
    using namespace opinit;
    return without_exceptions(out_of_memory, [&] {
        TargetProbe probe;
        TargetRecords targets{list, with_portals != 0, &probe};
        if (!targets) return out_of_memory;
        const int result = walk_recorded_targets(targets);
        if (targets.count() == 0) return result;
        targets.hand_over();
        return 0;
    });
}
