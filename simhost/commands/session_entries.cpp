#include "session_entries.h"

#include <filesystem>
#include <string>

#include "disk_entries.h"
#include "failure.h"
#include "files.h"
#include "sysfs.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

const fs::path platform = "/sys/devices/platform";
const fs::path next_number_file = run_directory / "next-session";

std::string or_null(const std::string& text) {
    return text.empty() ? "(null)" : text;
}

void add_host(const SessionDetails& details, const fs::path& device) {
    const std::string name = device.filename();
    add_scsi_device(device);
    add_class_entry(device, "scsi_host", name, {{"proc_name", "iscsi_tcp"}, {"state", "running"}});
    add_class_entry(device, "iscsi_host", name,
                    {{"hwaddress", "(null)"},
                     {"initiatorname", "(null)"},
                     {"ipaddress", or_null(kernel_form(details.initiator_address))},
                     {"netdev", "(null)"}});
}

void add_connection(const SessionDetails& details, const fs::path& session, const std::string& number) {
    const std::string name = "connection" + number + ":0";
    const std::string port = std::to_string(details.portal.port);
    fs::create_directories(session / name / "power");
    add_class_entry(session / name, "iscsi_connection", name,
                    {{"address", kernel_form(details.portal.address)},
                     {"port", port},
                     {"persistent_address", details.portal.address},
                     {"persistent_port", port},
                     {"local_port", "45440"},
                     {"header_digest", details.header_digest ? "1" : "0"},
                     {"data_digest", details.data_digest ? "1" : "0"},
                     {"exp_statsn", "548126969"},
                     {"max_recv_dlength", "262144"},
                     {"max_xmit_dlength", "262144"},
                     {"ping_tmo", "5"},
                     {"recv_tmo", "5"},
                     {"state", "up"}});
}

void add_session_device(const SessionDetails& details, const fs::path& session) {
    fs::create_directories(session / "power");
    write_file(session / "uevent", "");
    add_class_entry(session, "iscsi_session", session.filename(),
                    {{"targetname", details.target},
                     {"initiatorname", or_null(details.initiator_name)},
                     {"tpgt", std::to_string(details.tag)},
                     {"state", "LOGGED_IN"},
                     {"target_state", "SCANNED"},
                     {"target_id", "0"},
                     {"ifacename", "default"},
                     {"creator", "0"},
                     {"username", or_null(details.username)},
                     {"password", or_null(details.password)},
                     {"username_in", or_null(details.username_in)},
                     {"password_in", or_null(details.password_in)},
                     {"abort_tmo", "15"},
                     {"lu_reset_tmo", "30"},
                     {"tgt_reset_tmo", "30"},
                     {"recovery_tmo", "120"},
                     {"erl", "0"},
                     {"fast_abort", "1"},
                     {"initial_r2t", "1"},
                     {"immediate_data", "1"},
                     {"first_burst_len", "65536"},
                     {"max_burst_len", "262144"},
                     {"max_outstanding_r2t", "1"},
                     {"data_pdu_in_order", "0"},
                     {"data_seq_in_order", "0"}});
}

unsigned lowest_free_host() {
    unsigned number = 0;
    while (fs::exists(platform / ("host" + std::to_string(number)))) ++number;
    return number;
}

fs::path session_in_class(unsigned sid) {
    return fs::path("/sys/class/iscsi_session") / ("session" + std::to_string(sid));
}

unsigned next_session_number() {
    return parse_number(read_line(next_number_file)).value_or(1);
}

void raise_next_number(unsigned number) {
    if (number > next_session_number()) write_file(next_number_file, std::to_string(number) + "\n");
}

}  // namespace

unsigned take_session_number() {
    const unsigned number = next_session_number();
    raise_next_number(number + 1);
    return number;
}

unsigned create_session(const SessionDetails& details) {
    const unsigned sid = details.sid ? *details.sid : take_session_number();
    const std::string host = std::to_string(details.host.value_or(lowest_free_host()));
    const fs::path host_device = platform / ("host" + host);
    if (fs::exists(session_in_class(sid))) throw Failure(1, "session " + std::to_string(sid) + " exists");
    if (fs::exists(host_device)) throw Failure(1, "host " + host + " exists");
    raise_next_number(sid + 1);
    const fs::path session = host_device / ("session" + std::to_string(sid));
    add_host(details, host_device);
    add_connection(details, session, std::to_string(sid));
    add_luns(details.luns, session, host);
    add_session_device(details, session);
    return sid;
}

bool remove_session(unsigned sid) {
    std::error_code missing;
    const fs::path session = fs::canonical(session_in_class(sid) / "device", missing);
    if (missing) return false;
    const fs::path host = session.parent_path();
    remove_class_entries(host);
    fs::remove_all(host);
    return true;
}

}  // namespace simhost
