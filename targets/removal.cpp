#include "targets/removal.h"

#include <optional>
#include <string_view>

#include "core/base/captured_output.h"
#include "core/base/command.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/iscsiadm_output.h"
#include "targets/names.h"
#include "targets/target_list.h"
#include "targets/target_probe.h"

namespace opinit {
namespace {

std::optional<unsigned int> classify_delete_line(std::string_view line) {
    if (line.find("no records found") != std::string_view::npos) return iscsi_status::target_not_found;
    if (line.find("session is using it") != std::string_view::npos) return iscsi_status::session_active;
    return std::nullopt;
}

/// Asks the first target at a portal whether it is in use: iscsiadm itself refuses what another one's session
/// uses.
class RemovalCheck final : public TargetReceiver {
public:
    RemovalCheck(std::string_view address, std::uint16_t port) : address_{address}, port_{port} {}

    bool wants(std::string_view) const override { return !refusal_; }

    bool add_target(const TargetEntry& entry, const ProbedPortal& probed) override {
        if (!refusal_ && entry.address == address_ && entry.port == port_)
            refusal_ = refusal(entry.target, probed);
        return true;
    }
    bool add_portal(const TargetEntry&) override { return true; }

    /// 0 when the target has no session.
    unsigned int refusal() const {
        return refusal_.value_or(ended_early() ? iscsi_status::out_of_memory
                                               : iscsi_status::target_not_found);
    }

private:
    unsigned int refusal(std::string_view target_name, const ProbedPortal& probed) {
        if (probe_.logged_in(target_name, probed)) return iscsi_status::session_active;
        // What could not be read so far may hold the target that is to be asked first.
        return complete() && probe_.sessions_known(target_name) ? iscsi_status::success
                                                                : iscsi_status::out_of_memory;
    }

    std::string_view address_;
    std::uint16_t port_;
    TargetProbe probe_;
    std::optional<unsigned int> refusal_;
};

}  // namespace

unsigned int remove_target(const char* address, std::uint16_t port) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        RemovalCheck check{address, port};
        walk_recorded_targets(check);
        const unsigned int refusal = check.refusal();
        return refusal == iscsi_status::success ? _remove_iscsi_dirs(address, port) : refusal;
    });
}

}  // namespace opinit

using namespace opinit;

unsigned int _remove_iscsi_dirs(const char* address, int port) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        Command command;
        command.text("iscsiadm -m node -p ").word(portal_argument(address, static_cast<std::uint16_t>(port)));
        command.text(" -o delete").capture();
        if (run_captured(command.c_str()).outcome == Outcome::done) return iscsi_status::success;
        const CapturedOutputRemoval removal;
        return first_decision(classify_delete_line).value_or(iscsi_status::success);
    });
}

unsigned int _remove_persistent_entry(const char*, const char* address, int port, void*) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        Command command;
        command.text("iscsiadm -m node -p ").word(portal_argument(address, port));
        command.text(" -o update \t\t-n node.startup -v manual").capture();
        const Outcome outcome = run_captured(command.c_str()).outcome;
        if (outcome == Outcome::done) return iscsi_status::success;
        if (outcome == Outcome::failed) return iscsi_status::failure;
        const CapturedOutputRemoval removal;
        return _check_iscsiadm_output();
    });
}
