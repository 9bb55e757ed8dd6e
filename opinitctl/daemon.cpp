#include "daemon.h"

#include <string>

#include "host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl {
namespace {

// The number is in a file of the daemon's own; with it there is no need to look at every process.
bool named_process_runs() {
    const auto number = number_in(text_in("/run/iscsid.pid"));
    return number &&
           text_in("/proc/" + std::to_string(*number) + "/cmdline").find("iscsid") != std::string::npos;
}

}  // namespace

Daemon daemon_state() {
    if (named_process_runs()) return Daemon::whole;
    switch (check_iscsid_instances()) {
        case 0:
            return Daemon::none;
        case 1:
            return Daemon::half;
        default:
            return Daemon::whole;
    }
}

}  // namespace opinitctl
