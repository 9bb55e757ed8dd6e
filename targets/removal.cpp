#include "targets/removal.h"

#include <cstring>
#include <optional>
#include <string_view>

#include "core/base/command.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/iscsiadm_output.h"
#include "targets/names.h"
#include "targets/target_list.h"

namespace opinit {
namespace {

std::optional<unsigned int> classify_delete_line(std::string_view line) {
    if (line.find("no records found") != std::string_view::npos) return iscsi_status::target_not_found;
    if (line.find("session is using it") != std::string_view::npos) return iscsi_status::session_active;
    return std::nullopt;
}

bool stands_first_at(const _TargetInformation& target, const char* address, std::uint16_t port) {
    const _TargetPortalGroups* portal = target.portals;
    if (portal == nullptr || portal->port != port) return false;
    const auto* text = reinterpret_cast<const char*>(portal->address);
    return std::strncmp(text, address, sizeof portal->address) == 0;
}

/// Only the first target at the portal is asked: iscsiadm itself refuses what another one's session uses.
unsigned int check_removable(const char* address, std::uint16_t port) {
    int result;
    const TargetList targets = read_target_list(result);
    for (const _TargetInformation* target = targets.get(); target != nullptr; target = next_record(target)) {
        if (!stands_first_at(*target, address, port)) continue;
        return target->logged_in == 1 ? iscsi_status::session_active : iscsi_status::success;
    }
    return iscsi_status::target_not_found;
}

}  // namespace

unsigned int remove_target(const char* address, std::uint16_t port) {
    const unsigned int refusal = check_removable(address, port);
    return refusal != iscsi_status::success ? refusal : _remove_iscsi_dirs(address, port);
}

}  // namespace opinit

using namespace opinit;

unsigned int _remove_iscsi_dirs(const char* address, int port) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        Command command;
        command.text("iscsiadm -m node -p ").word(portal_argument(address, static_cast<std::uint16_t>(port)));
        command.text(" -o delete").capture();
        if (run_shell(command.c_str()).outcome == Outcome::done) return iscsi_status::success;
        const CapturedOutputRemoval removal;
        return first_decision(captured_output_path(), classify_delete_line).value_or(iscsi_status::success);
    });
}

unsigned int _remove_persistent_entry(const char*, const char* address, int port, void*) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        Command command;
        command.text("iscsiadm -m node -p ").word(portal_argument(address, port));
        command.text(" -o update \t\t-n node.startup -v manual").capture();
        const Outcome outcome = run_shell(command.c_str()).outcome;
        if (outcome == Outcome::done) return iscsi_status::success;
        if (outcome == Outcome::failed) return iscsi_status::failure;
        const CapturedOutputRemoval removal;
        return _check_iscsiadm_output(captured_output_path());
    });
}
