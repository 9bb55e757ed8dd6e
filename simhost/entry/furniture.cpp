#include "furniture.h"

#include <sys/utsname.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "links.h"
#include "mounts.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

const fs::path run_directory = "/run/simhost";
// Written last when a host is made, so it also tells a host that was made before.
const fs::path sysfs_form = run_directory / "sysfs-form";

struct Distro {
    std::string_view name;
    std::string_view banner;
    bool has_daemon_script;
};

constexpr std::array<Distro, 3> distros = {{
    {"redhat", "Red Hat Enterprise Linux Server release 6.10 (Santiago)", true},
    {"suse", "Welcome to SUSE Linux Enterprise Server 11 SP4 (x86_64)", false},
    {"other", "Some Other Linux 1.0", true},
}};

const Distro& distro_named(std::string_view name) {
    for (const Distro& distro : distros) {
        if (distro.name == name) return distro;
    }
    throw std::invalid_argument("no such distribution: " + std::string(name));
}

void add_file(const fs::path& path, std::string_view text) {
    if (!fs::exists(path)) std::ofstream(path) << text;
}

void add_setting(const fs::path& templates, const char* name) {
    fs::copy_file(templates / name, fs::path("/etc") / name, fs::copy_options::skip_existing);
}

void add_settings(const Options& options) {
    const fs::path templates = on_machine(options.templates);
    const Distro& distro = distro_named(options.distro);
    for (const char* name : {"iscsi/iscsid.conf", "iscsi/initiatorname.iscsi", "init.d/open-iscsi"}) {
        add_setting(templates, name);
    }
    if (distro.has_daemon_script) add_setting(templates, "init.d/iscsid");
    fs::copy_file(templates / "network.json", run_directory / "network.json",
                  fs::copy_options::skip_existing);
    add_file("/etc/issue", std::string(distro.banner) + "\nKernel \\r on an \\m\n\n");
    add_file(run_directory / "calls.log", "");
    add_file(sysfs_form, options.sysfs + "\n");
}

void add_module_file(const fs::path& build) {
    utsname kernel = {};
    uname(&kernel);
    const fs::path directory = fs::path("/lib/modules") / kernel.release / "kernel/drivers/scsi";
    fs::create_directories(directory);
    fs::copy_file(on_machine(build / "iscsi_tcp.ko"), directory / "iscsi_tcp.ko");
}

void add_commands(const fs::path& build) {
    for (const char* name : {"iscsiadm", "iscsid", "killall", "modprobe", "rmmod", "simhost-command"}) {
        replace_link(build / "simhost-command", run_directory / "bin" / name);
    }
    for (const char* name : {"iscsiadm", "iscsid", "modprobe", "rmmod"}) {
        replace_link(run_directory / "bin" / name, fs::path("/sbin") / name);
    }
}

}  // namespace

bool furnish(const Options& options) {
    const bool is_new = !fs::exists(sysfs_form);
    add_commands(options.build);
    add_module_file(options.build);
    if (is_new) add_settings(options);
    return is_new;
}

}  // namespace simhost
