// The host on which the operations of the table are called.
#include <cstring>

#include "platform/kvlinhw.h"
#include "tests/support/faults.h"
#include "tests/support/host.h"
#include "tests/support/operations.h"

namespace operations {

void add_targets(const std::string& portal, const std::string& letters) {
    const std::string directory = send_targets + portal + ",3260/";
    host::write_file(directory + "st_config", "");
    for (const char letter : letters)
        host::write_file(directory + "iqn." + letter + "," + portal + ",3260,1,default", "");
}

void new_settings(const std::string& in_between) {
    host::write_file("/etc/iscsi/iscsid.conf", "node.startup = manual\n#" + in_between +
                                                   "\nnode.session.auth.password = " + faults::secret +
                                                   "\nnode.session.iscsi.InitialR2T = Yes\n");
    host::set_initiator_name(initiator);
    host::remove("/tmp/tmpiscsidconf.txt");
}

void populate_host() {
    for (const char* old : {"/sys/class", "/sys/devices", "/sys/bus", "/var/lib/iscsi", "/etc/iscsi",
                            "/tmp/opiscsierr", "/tmp/tmpiscsidconf.txt"}) {
        host::remove(old);
    }
    host::forget_log();
    host::stop_stack();
    host::start_stack();
    host::write_file("/etc/issue", "Red Hat\n");
    host::write_file("/etc/init.d/iscsid", "");
    new_settings();
    const std::vector<host::Lun> luns = {{0, "sdb", "8", "VEND", "MODEL"}, {1, "sdc", "16", "VEND", "MODEL"}};
    host::add_session({.number = 1, .target = "iqn.a", .scsi_host = 3, .luns = luns});
    host::add_session({.number = 2, .target = "iqn.c", .scsi_host = 4, .address = "10.0.0.2"});
    add_targets("10.0.0.1", "ab");
    add_targets("10.0.0.2", "c");
    add_targets("10.0.0.3", "d");
    for (const char* portal : {"1234567890.123456789,70000,258", "fd00::1,3260,1"})
        host::write_file(send_targets + "10.0.0.3,3260/iqn.d," + portal + ",default", "");
    add_targets("10.0.0.9", "");
    host::write_file("/var/lib/iscsi/nodes/iqn.b/10.0.0.1,3260,1/default", "node.startup = automatic\n");
    shell::answer({{0, 0, ""}});
}

}  // namespace operations

// What the host says of its module, whatever stands in for the maker's library.
extern "C" int getModinfo(const char*, char* version, char* description) {
    const faults::Pause pause;
    if (!host::exists("/etc/iscsi/iscsid.conf")) return 7;
    std::memset(version, 'v', 100);
    std::memset(description, 't', 255);
    return 0;
}
