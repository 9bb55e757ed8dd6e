// Whether the stack is installed and running, and on what distribution.
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {
namespace {

constexpr std::size_t modules_line_limit = 80;

bool is_daemon(const std::string& process) {
    const File command_line{("/proc/" + process + "/cmdline").c_str(), Access::read};
    if (!command_line) return false;
    std::array<char, 79> text{};
    const std::ptrdiff_t size = command_line.read(text);
    if (size <= 0) return false;
    const std::string_view arguments{text.data(), static_cast<std::size_t>(size)};
    return arguments.substr(0, arguments.find('\0')).find("iscsid") != std::string_view::npos;
}

bool is_process(std::string_view name) {
    return name.front() >= '0' && name.front() <= '9';
}

}  // namespace
}  // namespace opinit

using namespace opinit;

int check_stack_available() {
    return without_exceptions(0, [] {
        if (!File{"/etc/iscsi/iscsid.conf", Access::read}) return 0;
        utsname kernel{};
        uname(&kernel);
        const std::string module =
            std::string{"/lib/modules/"} + kernel.release + "/kernel/drivers/scsi/iscsi_tcp.ko";
        return access(module.c_str(), F_OK) == 0 ? 1 : 0;
    });
}

int is_module_loaded() {
    const File modules{"/proc/modules", Access::read};
    if (!modules) return 0;
    LineReader lines{modules, modules_line_limit};
    while (const auto piece = lines.next()) {
        if (piece->starts_with("iscsi_tcp")) return 1;
    }
    return 0;
}

int check_iscsid_instances() {
    return without_exceptions(0, [] {
        Directory processes{"/proc"};
        if (!processes) return 0;
        int count = 0;
        while (const auto entry = processes.next()) {
            if (is_process(entry->name) && is_daemon(std::string{entry->name}) && ++count > 1) break;
        }
        return count;
    });
}

int check_stack_running() {
    const int loaded = is_module_loaded();
    const int daemons = check_iscsid_instances();
    return loaded == 1 && daemons > 0 ? 1 : 0;
}

int get_linux_distro(int* code) {
    const File banner{"/etc/issue", Access::read_and_write};
    if (!banner) return static_cast<int>(iscsi_status::cannot_open_file);
    std::array<char, 80> text{};
    const std::ptrdiff_t size = banner.read(text);
    const std::string_view head{text.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
    if (head.find("Red Hat") != std::string_view::npos) {
        *code = DISTRO_REDHAT;
    } else if (head.find("SUSE") != std::string_view::npos) {
        *code = DISTRO_SUSE;
    } else {
        *code = DISTRO_UNKNOWN;
        return 1;
    }
    return 0;
}
