// Whether the stack is installed and runs.
#include <fcntl.h>

#include <algorithm>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "host/daemon.h"
#include "host/host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl::doctor {
namespace {

constexpr const char* settings_file = "/etc/iscsi/iscsid.conf";

Check configuration_file() {
    const std::string name = "configuration file";
    if (const int error = open_error(settings_file, O_RDONLY)) {
        return {name, Result::problem, reason(settings_file, error) + ": operations answer 182",
                remedy_for(error, settings_file, "install open-iscsi")};
    }
    if (const int error = open_error(settings_file, O_RDWR)) {
        const std::string finding = reason(settings_file, error) + ": settings cannot be changed";
        return {name, is_root() ? Result::problem : Result::note, finding,
                remedy_for(error, settings_file, "see why it cannot be opened for writing")};
    }
    return ok(name, std::string(settings_file) + " can be read and written");
}

/// Where modprobe finds the module, relative to the release's directory, or an empty text.
std::string known_module_file(const std::string& modules) {
    for (const std::string& line : lines_in(modules + "/modules.dep")) {
        const std::string path = line.substr(0, line.find(':'));
        if (path.find("/iscsi_tcp.ko") != path.npos) return path;
    }
    return "";
}

bool is_built_in(const std::string& modules) {
    const std::vector<std::string> files = lines_in(modules + "/modules.builtin");
    return std::any_of(files.begin(), files.end(),
                       [](const std::string& file) { return file.ends_with("/iscsi_tcp.ko"); });
}

/// No file of iscsi_tcp stands where the library looks for it.
Check module_missing(const std::string& name) {
    const std::string modules = "/lib/modules/" + kernel_release();
    const std::string place = modules + "/kernel/drivers/scsi/iscsi_tcp.ko";
    Check check = {name, Result::problem, place + " is not there, nor compressed: "};
    check.finding += check_stack_running() != 0
                         ? "settings and start answer 182, while what needs a running stack goes on"
                         : "operations answer 182";
    if (is_built_in(modules)) {
        check.remedy = "the kernel has iscsi_tcp built in; the library works with a module only";
    } else if (const std::string elsewhere = known_module_file(modules); !elsewhere.empty()) {
        const std::string suffix = elsewhere.substr(elsewhere.rfind(".ko") + 3);
        check.remedy = "it is at " + modules + '/' + elsewhere + ": link it";
        check.fix = make_link(place + suffix, modules + '/' + elsewhere);
    } else if (!exists(modules + "/kernel")) {
        check.remedy =
            "the kernel was replaced while it runs: reboot into the new one, or install the modules of " +
            kernel_release() + " again";
    } else {
        check.remedy = "install the package that has iscsi_tcp for kernel " + kernel_release();
    }
    return check;
}

Check module_file() {
    const std::string name = "module file";
    if (check_stack_available() != 0) return ok(name, "there is one for kernel " + kernel_release());
    if (open_error(settings_file, O_RDONLY) != 0) {
        return {name, Result::note, "not looked for without the configuration file"};
    }
    return module_missing(name);
}

/// Adds what starts the stack on this host.
Check with_start(Check check) {
    int distribution = DISTRO_UNKNOWN;
    const bool can_start = start_refusal(distribution) == 0;
    check.remedy = can_start ? "opinitctl start" : "modprobe iscsi_tcp, then iscsid";
    if (can_start && check_stack_available() != 0) check.fix = start_stack();
    return check;
}

Check module_loaded() {
    const std::string name = "module loaded";
    if (is_module_loaded() != 0) return ok(name, "/proc/modules names iscsi_tcp");
    if (const int error = open_error("/proc/modules", O_RDONLY)) {
        return {name, Result::problem, reason("/proc/modules", error) + ": operations answer 183",
                "run a kernel with loadable modules"};
    }
    return with_start(
        {name, Result::problem, "/proc/modules does not name iscsi_tcp: operations answer 183"});
}

Check daemon() {
    const std::string name = "daemon";
    const std::vector<std::string> processes = daemon_processes();
    switch (daemon_state()) {
        case Daemon::none:
            return with_start({name, Result::problem, "no iscsid process: operations answer 183"});
        case Daemon::whole:
            return ok(name, processes.size() == 1 ? "one iscsid process" : "iscsid and its log process");
        case Daemon::half:
            break;
    }
    Check check = with_start(
        {name, Result::problem,
         "process " + processes.front() +
             " alone is half a daemon: it logs, and the one that acts has died. It counts "
             "as a daemon all the same: a login answers 0 without a session, and start starts nothing"});
    check.remedy = "kill " + processes.front() + ", then " + check.remedy + "; sessions stay";
    if (check.fix) check.fix = replace_daemon(processes.front());
    return check;
}

Check answer() {
    const std::string name = "answer";
    if (check_stack_running() != 0) {
        return check_stack_available() != 0
                   ? ok(name, "the stack is installed and runs")
                   : Check{name, Result::problem,
                           "the stack runs, and counts as not installed (182) where that is asked",
                           "see configuration file and module file"};
    }
    if (check_stack_available() == 0) {
        return {name, Result::problem, "182: the stack counts as not installed",
                "see configuration file and module file"};
    }
    return {name, Result::problem, "183: the stack is installed and does not run",
            "see module loaded and daemon"};
}

}  // namespace

Checks examine_stack() {
    return {configuration_file(), module_file(), module_loaded(), daemon(), answer()};
}

}  // namespace opinitctl::doctor
