#include "daemon_connection.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include "daemon.h"
#include "files.h"
#include "iscsiadm.h"
#include "record.h"
#include "systemd.h"

namespace simhost {
namespace {

void run_startup_command() {
    const Values settings = parse_record(read_file("/etc/iscsi/iscsid.conf").value_or(""));
    const std::string command = value_of(settings, "iscsid.startup");
    if (command.empty()) return;
    // Whether it helped shows in the daemon alone.
    [[maybe_unused]] const int result = std::system(command.c_str());
}

bool connect() {
    return daemon_answers() || (std::filesystem::exists(listening_socket) && start_service());
}

}  // namespace

bool reach_daemon() {
    if (connect()) return true;
    run_startup_command();
    if (connect()) return true;
    complain("can not connect to iSCSI daemon (111)!");
    return false;
}

}  // namespace simhost
