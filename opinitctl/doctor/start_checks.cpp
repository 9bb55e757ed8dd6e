// What start and stop need.
#include <fcntl.h>

#include <cerrno>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl::doctor {
namespace {

constexpr const char* banner = "/etc/issue";
constexpr const char* daemon_program = "/sbin/iscsid";

Check unreadable_banner(const std::string& name) {
    const int error = open_error(banner, O_RDWR);
    Check check = {
        name, Result::problem,
        reason(banner, error) + ": it is opened for reading and writing, and start and stop answer 98",
        remedy_for(error, banner, "make an empty one, or one with the distribution's name")};
    if (error == ENOENT && exists("/etc/os-release")) check.fix = create_empty(banner);
    return check;
}

Check distribution(int code, int refusal) {
    const std::string name = "distribution";
    if (refusal == iscsi_status::cannot_open_file) return unreadable_banner(name);
    if (code == DISTRO_REDHAT) return ok(name, "Red Hat or its kin");
    if (code == DISTRO_SUSE) return ok(name, "SUSE or its kin");
    if (refusal == 0) return ok(name, "neither Red Hat nor SUSE, and run by systemd");
    return {
        name, Result::problem,
        "neither the first 80 bytes of /etc/issue nor /etc/os-release say Red Hat or SUSE, and systemd does "
        "not run the host: start and stop answer 1",
        "start and stop the daemon by the host's own means; all else works"};
}

Check init_script(const std::string& name, const std::string& path) {
    if (is_executable(path)) return ok(name, path);
    const int error = errno;
    Check check = {name, Result::problem, reason(path, error) + ": start and stop fail",
                   "provide a script that starts and stops iscsid, or systemd"};
    if (error == EACCES) {
        check.remedy = "make it executable";
        check.fix = change_mode({path}, 0111, 0);
    }
    return check;
}

/// The same choice as that of the library: Red Hat's own script, the one that SUSE has, or systemd.
Check start_and_stop(int distribution_code, int refusal) {
    const std::string name = "start and stop";
    if (refusal != 0) return {name, Result::note, "not possible without a known distribution"};
    const std::string redhat_script = "/etc/init.d/iscsid";
    const std::string open_iscsi_script = "/etc/init.d/open-iscsi";
    if (distribution_code == DISTRO_REDHAT && exists(redhat_script)) return init_script(name, redhat_script);
    if (!systemd_runs_the_host() || (distribution_code != DISTRO_UNKNOWN && exists(open_iscsi_script)))
        return init_script(name, open_iscsi_script);
    if (!find_program("systemctl").empty()) return ok(name, "systemctl, since there is no init script");
    return {name, Result::problem, "systemd runs the host, and systemctl is not on PATH: start and stop fail",
            "add the directory of systemctl to PATH"};
}

Check program(int distribution_code) {
    const std::string name = "daemon program";
    if (is_executable(daemon_program)) return ok(name, daemon_program);
    const int error = errno;
    const std::string effect = distribution_code == DISTRO_SUSE ? ": start answers 313"
                                                                : ": the init script cannot start the daemon";
    Check check = {name, Result::problem, reason(daemon_program, error) + effect,
                   remedy_for(error, daemon_program, "install open-iscsi")};
    const std::string installed = "/usr/sbin/iscsid";
    if (error == ENOENT && exists(installed)) {
        check.remedy = "ln -s " + installed + ' ' + daemon_program;
        check.fix = make_link(daemon_program, installed);
    }
    return check;
}

}  // namespace

Checks examine_start() {
    int code = DISTRO_UNKNOWN;
    const int refusal = start_refusal(code);
    return {distribution(code, refusal), start_and_stop(code, refusal), program(code)};
}

}  // namespace opinitctl::doctor
