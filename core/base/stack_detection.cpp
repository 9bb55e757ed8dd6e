// Whether the stack is installed and running. Nothing here takes memory from the heap: an answer does not
// depend on how much of it is left.
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <string_view>

#include "core/base/directory.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/path.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {
namespace {

constexpr std::size_t modules_line_limit = 80;

bool is_daemon(std::string_view process) {
    const File command_line{Path{"/proc/"}.text(process).text("/cmdline").c_str(), Access::read};
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

/// Whether the process that the daemon's own file names is a daemon: that spares a look at every process of
/// the host. What the file says is never believed, since it may be stale or anybody's.
bool named_daemon_runs() {
    const File file{"/run/iscsid.pid", Access::read_untrusted};
    if (!file) return false;
    std::array<char, 16> text{};
    const std::ptrdiff_t size = file.read(text);
    if (size <= 0) return false;
    int process = 0;
    const auto [behind, error] = std::from_chars(text.data(), text.data() + size, process);
    if (error != std::errc{} || process <= 0) return false;
    return is_daemon({text.data(), static_cast<std::size_t>(behind - text.data())});
}

/// On current distributions the module file is compressed.
bool module_file_exists(const Path& path) {
    if (::access(path.c_str(), F_OK) == 0) return true;
    for (const char* compression : {".xz", ".zst", ".gz"}) {
        if (::access(Path{path}.text(compression).c_str(), F_OK) == 0) return true;
    }
    return false;
}

}  // namespace
}  // namespace opinit

using namespace opinit;

int check_stack_available() {
    return without_exceptions(0, [] {
        if (!File{"/etc/iscsi/iscsid.conf", Access::read}) return 0;
        utsname kernel{};
        uname(&kernel);
        Path file{"/lib/modules/"};
        return module_file_exists(file.text(kernel.release).text("/kernel/drivers/scsi/iscsi_tcp.ko")) ? 1
                                                                                                       : 0;
    });
}

int is_module_loaded() {
    return without_exceptions(0, [] {
        const File modules{"/proc/modules", Access::read};
        if (!modules) return 0;
        LineReader lines{modules, modules_line_limit};
        while (const auto piece = lines.next()) {
            if (piece->starts_with("iscsi_tcp")) return 1;
        }
        return 0;
    });
}

int check_iscsid_instances() {
    return without_exceptions(0, [] {
        DirectoryRoom room;
        Directory processes{"/proc", room.bytes};
        if (!processes) return 0;
        int count = 0;
        while (const auto entry = processes.next()) {
            if (is_process(entry->name) && is_daemon(entry->name) && ++count > 1) break;
        }
        return processes.error() == 0 ? count : 0;
    });
}

int check_stack_running() {
    return without_exceptions(0, [] {
        const bool loaded = is_module_loaded() == 1;
        const bool daemon = named_daemon_runs() || check_iscsid_instances() > 0;
        return loaded && daemon ? 1 : 0;
    });
}
