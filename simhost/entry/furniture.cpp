#include "furniture.h"

#include <sys/utsname.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "distros.h"
#include "links.h"
#include "mounts.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

const fs::path run_directory = "/run/simhost";
// Written last when a host is made, so it also tells a host that was made before.
const fs::path distro_name = run_directory / "distro";

void add_file(const fs::path& path, std::string_view text) {
    if (!fs::exists(path)) std::ofstream(path) << text;
}

void add_setting(const fs::path& templates, const char* name) {
    const fs::path setting = fs::path("/etc") / name;
    fs::create_directories(setting.parent_path());
    fs::copy_file(templates / name, setting, fs::copy_options::skip_existing);
}

void add_settings(const Options& options, const Distro& distro) {
    const fs::path templates = on_machine(options.templates);
    for (const char* name : {"iscsi/iscsid.conf", "iscsi/initiatorname.iscsi"}) add_setting(templates, name);
    if (distro.has_stack_script) add_setting(templates, "init.d/open-iscsi");
    if (distro.has_daemon_script) add_setting(templates, "init.d/iscsid");
    if (distro.has_systemd) fs::create_directories("/run/systemd/system");
    fs::copy_file(templates / "network.json", run_directory / "network.json",
                  fs::copy_options::skip_existing);
    add_file("/etc/issue", distro.banner);
    if (!distro.os_release.empty()) add_file("/etc/os-release", distro.os_release);
    add_file(run_directory / "calls.log", "");
    add_file(run_directory / "sysfs-form", options.sysfs + "\n");
    add_file(distro_name, options.distro + "\n");
}

std::string made_as() {
    std::ifstream file(distro_name);
    std::string name;
    std::getline(file, name);
    return name;
}

void add_module_file(const fs::path& build, const Distro& distro) {
    utsname kernel = {};
    uname(&kernel);
    const fs::path directory = fs::path("/lib/modules") / kernel.release / "kernel/drivers/scsi";
    fs::create_directories(directory);
    fs::copy_file(on_machine(build / distro.module_file), directory / distro.module_file);
}

void add_command(const fs::path& build, const char* name) {
    replace_link(build / "simhost-command", run_directory / "bin" / name);
}

void add_commands(const fs::path& build, const Distro& distro) {
    for (const char* name : {"killall", "simhost-command"}) add_command(build, name);
    for (const char* name : {"iscsiadm", "iscsid", "modprobe", "rmmod"}) {
        add_command(build, name);
        replace_link(run_directory / "bin" / name, fs::path("/sbin") / name);
    }
    if (distro.has_systemd) {
        add_command(build, "systemctl");
        replace_link(run_directory / "bin/systemctl", "/bin/systemctl");
    }
}

}  // namespace

Furnished furnish(const Options& options) {
    const bool is_new = !fs::exists(distro_name);
    const Distro& distro = distro_named(is_new ? options.distro : made_as());
    replace_link(distro.shell, "/bin/sh");
    add_commands(options.build, distro);
    add_module_file(options.build, distro);
    if (is_new) add_settings(options, distro);
    return {is_new, distro.has_systemd};
}

}  // namespace simhost
