#include "core/start_stop.h"

#include <unistd.h>

#include <optional>

#include "core/base/command.h"
#include "core/initiator_nodes.h"
#include "core/probes.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "platform/kvlinhw.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

constexpr const char* redhat_script = "/etc/init.d/iscsid";
constexpr const char* open_iscsi_script = "/etc/init.d/open-iscsi";

bool is_there(const char* path) {
    return ::access(path, F_OK) == 0;
}

bool systemd_runs_the_host() {
    return is_there("/run/systemd/system/.");  // a directory
}

/// One step of the daemon, as an init script takes it. Red Hat falls back to the script that SUSE has, and
/// current distributions, which have neither, to systemd. Of others, scripts of these names do other things.
struct DaemonCommand {
    const char* redhat;
    const char* open_iscsi;
    const char* systemd;

    const char* on(int distro) const {
        if (distro == DISTRO_UNKNOWN) return systemd;
        if (distro == DISTRO_REDHAT && is_there(redhat_script)) return redhat;
        return !is_there(open_iscsi_script) && systemd_runs_the_host() ? systemd : open_iscsi;
    }
};

constexpr DaemonCommand start_command{"/etc/init.d/iscsid start", "/etc/init.d/open-iscsi start",
                                      "systemctl start iscsid"};
// The socket would have the daemon started again.
constexpr DaemonCommand stop_command{"/etc/init.d/iscsid stop", "/etc/init.d/open-iscsi stop",
                                     "systemctl stop iscsid.socket iscsid.service"};

unsigned int script_status(const ShellResult& script, const ShellResult& last_command) {
    return last_command.outcome == Outcome::result_lost ? iscsi_status::success
                                                        : static_cast<unsigned int>(script.status);
}

/// 0 when it is known how the daemon is started and stopped on this host.
unsigned int distribution_refusal(int& distro) {
    const auto unknown = static_cast<unsigned int>(get_linux_distro(&distro));
    return unknown == iscsi_status::failure && systemd_runs_the_host() ? iscsi_status::success : unknown;
}

/// 0 only when it is known that there is no session.
unsigned int session_refusal() {
    const std::optional<unsigned int> sessions = count_sessions();
    if (!sessions) return iscsi_status::out_of_memory;
    return *sessions != 0 ? iscsi_status::cannot_stop_session_active : iscsi_status::success;
}

}  // namespace

Verdict start_stack() {
    run_shell("modprobe iscsi_tcp");
    if (is_module_loaded() == 0) {
        KvLogger::KorvelLogMsg(kv_module_initiator, kv_level_error,
                               "open iscsi initiator start failed: driver modules not loaded");
        return silent(iscsi_status::module_not_loaded);
    }
    if (probe_running()) return silent(iscsi_status::success);

    int distro = DISTRO_UNKNOWN;
    if (const unsigned int refusal = distribution_refusal(distro)) return silent(refusal);
    if (distro == DISTRO_SUSE && !is_there("/sbin/iscsid")) {
        return reported(iscsi_status::daemon_file_missing);
    }
    const ShellResult script = run_shell(start_command.on(distro));
    if (!probe_running()) return silent(iscsi_status::failure);
    return silent(script_status(script, script));
}

Verdict stop_stack() {
    {
        const InitiatorNodes nodes = read_initiator_nodes(2);
        if (nodes.name_too_long()) return reported(iscsi_status::initiator_name_too_long);
        if (nodes.result != 0 && nodes.count == 0) return reported(iscsi_status::no_initiator_node);
    }
    if (const unsigned int refusal = session_refusal()) return silent(refusal);

    int distro = DISTRO_UNKNOWN;
    if (const unsigned int refusal = distribution_refusal(distro)) return silent(refusal);
    const ShellResult script = run_shell(stop_command.on(distro));
    ShellResult last_command = script;
    if (distro == DISTRO_SUSE && probe_running()) {
        run_shell("killall iscsid");
        last_command = run_shell("rmmod iscsi_tcp");
    }
    return silent(script_status(script, last_command));
}

}  // namespace opinit
