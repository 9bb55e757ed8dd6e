#include "tests/support/host.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace host {
namespace {

constexpr const char* log_path = "/tmp/kvlinhw.log";

const bool logged = setenv("KVLINHW_LOG", log_path, 1) == 0;

// A class entry of today's kernels is a link to the device's own directory.
void add_class_entry(const std::string& class_name, const std::string& entry,
                     const std::string& device_path) {
    make_directory("/sys/devices/" + device_path);
    make_link("/sys/class/" + class_name + "/" + entry, "../../devices/" + device_path);
}

void add_lun(const std::string& address, const std::string& target_path, const Lun& lun) {
    const std::string directory = target_path + "/" + address;
    make_directory(directory);
    make_link("/sys/bus/scsi/devices/" + address, directory);
    if (!lun.vendor.empty()) write_file(directory + "/vendor", lun.vendor + "\n");
    if (!lun.model.empty()) write_file(directory + "/model", lun.model + "\n");
    if (lun.device.empty()) return;
    write_file(directory + "/block/" + lun.device + "/size", lun.sectors + "\n");
}

}  // namespace

void write_file(const std::string& path, std::string_view text) {
    fs::create_directories(fs::path{path}.parent_path());
    if (fs::is_symlink(path)) fs::remove(path);
    std::ofstream file{path, std::ios::binary | std::ios::trunc};
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.flush()) throw std::runtime_error{"cannot write " + path};
}

void install_iscsiadm(const std::string& script) {
    const std::string path = "/run/simhost/override/iscsiadm";
    write_file(path, "#!/bin/bash\n" + script + "\n");
    fs::permissions(path, fs::perms::owner_all);
}

std::string read_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

bool exists(const std::string& path) {
    return fs::exists(fs::symlink_status(path));
}
void make_directory(const std::string& path) {
    fs::create_directories(path);
}
void make_link(const std::string& path, const std::string& target) {
    make_directory(fs::path{path}.parent_path());
    fs::remove_all(path);
    fs::create_symlink(target, path);
}
void remove(const std::string& path) {
    fs::remove_all(path);
}

void put(const std::string& path, const std::string& what) {
    remove(path);
    if (what.starts_with("-> ")) return make_link(path, what.substr(3));
    if (what == "/") return make_directory(path);
    if (what != nothing) write_file(path, what);
}

void obey_permissions(bool obey) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2]{};
    syscall(SYS_capget, &header, sets);
    const unsigned int passes = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);
    sets[0].effective = sets[0].permitted & ~(obey ? passes : 0);
    if (syscall(SYS_capset, &header, sets) != 0) throw std::runtime_error{"cannot change capabilities"};
}

std::string module_file() {
    utsname kernel{};
    uname(&kernel);
    return std::string{"/lib/modules/"} + kernel.release + "/kernel/drivers/scsi/iscsi_tcp.ko";
}

void start_stack() {
    if (!exists("/etc/iscsi/iscsid.conf")) write_file("/etc/iscsi/iscsid.conf", "");
    if (!exists(module_file())) write_file(module_file(), "");
    write_file("/proc/modules", "iscsi_tcp 28672 0 - Live 0x0000000000000000\n");
    remove("/proc/4000000");
    write_file("/proc/4000000/cmdline", std::string_view{"/sbin/iscsid\0", 13});
}

void stop_stack() {
    write_file("/proc/modules", "");
    for (const auto& entry : fs::directory_iterator{"/proc"}) {
        const std::string process = entry.path();
        if (read_file(process + "/cmdline").starts_with("/sbin/iscsid")) remove(process);
    }
}

void remove_stack() {
    stop_stack();
    remove("/etc/iscsi/iscsid.conf");
    remove(module_file());
}

void set_initiator_name(const std::string& name) {
    write_file("/etc/iscsi/initiatorname.iscsi", "InitiatorName=" + name + "\n");
}

void add_session(const Session& session) {
    const std::string number = std::to_string(session.number);
    const std::string scsi_host = "host" + std::to_string(session.scsi_host);
    const std::string device = "platform/" + scsi_host + "/session" + number;
    const std::string entry = "/sys/class/iscsi_session/session" + number;
    add_class_entry("iscsi_session", "session" + number, device + "/iscsi_session/session" + number);
    make_link(entry + "/device", "../../../session" + number);
    write_file(entry + "/targetname", session.target + "\n");

    const std::string connection = "connection" + number + ":0";
    add_class_entry("iscsi_connection", connection,
                    device + "/" + connection + "/iscsi_connection/" + connection);
    write_file("/sys/class/iscsi_connection/" + connection + "/address", session.address + "\n");
    write_file("/sys/class/iscsi_connection/" + connection + "/port", session.port + "\n");

    add_class_entry("iscsi_host", scsi_host, "platform/" + scsi_host + "/iscsi_host/" + scsi_host);
    write_file("/sys/class/iscsi_host/" + scsi_host + "/ipaddress", session.initiator_address + "\n");

    const std::string target = std::to_string(session.scsi_host) + ":0:" + std::to_string(session.target_id);
    const std::string target_path = "/sys/devices/" + device + "/target" + target;
    write_file(target_path + "/uevent", "");
    make_directory(target_path + "/power");
    for (const Lun& lun : session.luns) add_lun(target + ":" + std::to_string(lun.number), target_path, lun);
}

std::vector<std::string> log_entries() {
    std::vector<std::string> entries;
    std::ifstream file{log_path};
    for (std::string line; std::getline(file, line);) entries.push_back(line);
    return entries;
}

void forget_log() {
    fs::remove(log_path);
}

}  // namespace host
