// Asking a portal for its targets.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "core/base/command.h"
#include "core/base/directory.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/database.h"
#include "targets/target_records.h"

namespace opinit {
namespace {

/// Forgets what an earlier discovery of the portal recorded, or its targets would be reported again even when
/// the portal no longer offers them. What cannot be removed stays.
void empty_portal_directory(std::string_view portal_dir) {
    for (const char* database : discovery_databases) {
        const Path path = Path{database}.text(portal_dir);
        const Listing names{path.c_str(), skip_dot_entries};
        // Nothing is deleted on account of a failed look.
        if (!names.complete() && !nothing_there(names.error())) return;
        if (names.empty()) continue;
        for (const std::string_view name : names) std::remove(Path{path}.text("/").text(name).c_str());
        ::rmdir(path.c_str());
        return;
    }
}

unsigned int discover(const char* address, std::uint16_t port, TargetReceiver& targets) {
    const Path portal_dir = portal_directory(address, std::to_string(port));
    Command command;
    command.text("iscsiadm -m discovery -t st -p ").word(portal_argument(address, port));
    empty_portal_directory(portal_dir.view());
    run_shell(command.c_str());
    return _read_send_targets(portal_dir.view(), targets);
}

}  // namespace
}  // namespace opinit

using namespace opinit;

unsigned int _DiscoverTarget(const char* address, int port, _TargetInformation** list, unsigned int* count) {
    return without_exceptions(database_status::out_of_memory, [&] {
        TargetRecords targets{list, true};
        if (!targets) return database_status::out_of_memory;
        const unsigned int status = discover(address, static_cast<std::uint16_t>(port), targets);
        *count += targets.count();
        if (*count != 0) {
            targets.hand_over();
            return status;
        }
        return status == database_status::out_of_memory ? status : iscsi_status::target_not_found;
    });
}
