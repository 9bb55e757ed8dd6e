#include "doctor_checks.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>

#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "output.h"

namespace opinitctl {
namespace {

namespace fs = std::filesystem;

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

/// 0, or why the file cannot be opened so.
int open_error(const char* path, int mode) {
    const int fd = open(path, mode | O_CLOEXEC);
    if (fd < 0) return errno;
    close(fd);
    return 0;
}

Check configuration_file() {
    const char* const path = "/etc/iscsi/iscsid.conf";
    const int error = open_error(path, O_RDONLY);
    if (error == 0) return {"configuration file", Result::ok, std::string(path) + " can be read", ""};
    return {"configuration file", Result::problem,
            std::string(path) + ": " + std::strerror(error) + ": operations answer 182",
            error == ENOENT ? "install open-iscsi" : "run as root"};
}

std::string module_path() {
    utsname kernel = {};
    uname(&kernel);
    return std::string("/lib/modules/") + kernel.release + "/kernel/drivers/scsi/iscsi_tcp.ko";
}

Check module_file() {
    static constexpr const char* packers[][2] = {{".xz", "xz"}, {".zst", "zstd"}, {".gz", "gzip"}};
    const std::string path = module_path();
    if (exists(path)) return {"module file", Result::ok, path, ""};
    for (const auto& [suffix, packer] : packers) {
        if (!exists(path + suffix)) continue;
        return {"module file", Result::problem,
                path + suffix + " is compressed, and only " + path + " counts: operations answer 182",
                std::string("unpack it beside itself: ") + packer + " -dk " + path + suffix};
    }
    return {
        "module file", Result::problem, path + " is not there: operations answer 182",
        "install the modules of the running kernel, or reboot into the kernel whose modules are installed"};
}

Check module_loaded() {
    if (is_module_loaded() != 0) return {"module loaded", Result::ok, "/proc/modules names iscsi_tcp", ""};
    const int error = open_error("/proc/modules", O_RDONLY);
    return {"module loaded", Result::problem,
            error == 0 ? "/proc/modules does not name iscsi_tcp: operations answer 183"
                       : std::string("/proc/modules: ") + std::strerror(error) + ": operations answer 183",
            error == 0 ? "opinitctl start, or modprobe iscsi_tcp" : "run a kernel with loadable modules"};
}

Check daemon_processes() {
    switch (check_iscsid_instances()) {
        case 0:
            return {"daemon", Result::problem, "no iscsid process: operations answer 183", "opinitctl start"};
        case 1:
            return {"daemon", Result::ok, "one iscsid process", ""};
        default:
            return {"daemon", Result::ok, "two or more iscsid processes", ""};
    }
}

Check distribution(int& code) {
    const char* const name = "distribution";
    const int status = get_linux_distro(&code);
    if (status == iscsi_status::cannot_open_file) {
        const int error = open_error("/etc/issue", O_RDWR);
        return {name, Result::problem,
                std::string("/etc/issue cannot be opened for reading and writing: ") + std::strerror(error) +
                    ": start and stop answer 98",
                error == ENOENT ? "write the distribution's name into /etc/issue"
                                : "run as root, with /etc on a writable file system"};
    }
    if (code == DISTRO_REDHAT) return {name, Result::ok, "/etc/issue says Red Hat", ""};
    if (code == DISTRO_SUSE) return {name, Result::ok, "/etc/issue says SUSE", ""};
    return {name, Result::problem,
            "the first 80 bytes of /etc/issue say neither Red Hat nor SUSE: start and stop answer 1",
            "start and stop the daemon by the host's own means; all else works"};
}

Check init_script(const char* path, const char* remedy) {
    if (access(path, X_OK) == 0) return {"init script", Result::ok, path, ""};
    return {"init script", Result::problem,
            std::string(path) + ": " + std::strerror(errno) + ": start and stop fail", remedy};
}

Check init_scripts(int distribution_code) {
    const char* const daemon_script = "/etc/init.d/iscsid";
    const char* const stack_script = "/etc/init.d/open-iscsi";
    if (distribution_code == DISTRO_UNKNOWN) {
        return {"init script", Result::note, "not used without a known distribution", ""};
    }
    const char* const remedy = "provide a script that starts and stops iscsid";
    if (distribution_code == DISTRO_SUSE && !exists("/sbin/iscsid")) {
        return {"init script", Result::problem, "/sbin/iscsid is not there: start answers 313",
                "cp /usr/sbin/iscsid /sbin/iscsid"};
    }
    const bool own = distribution_code == DISTRO_REDHAT && exists(daemon_script);
    return init_script(own ? daemon_script : stack_script, remedy);
}

Check initiator_name() {
    const char* const name = "initiator name";
    const std::string path = "/etc/iscsi/initiatorname.iscsi";
    void* list = nullptr;
    unsigned int count = 0;
    const int result = _GetInitiatorNodeList(&list, &count, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(list, std::free);
    if (list != nullptr) {
        return {name, Result::ok, field_text(static_cast<_InitiatorNode*>(list)->initiator_name), ""};
    }
    if (result == -2) {
        return {name, Result::problem,
                path + " holds a name of more than 223 characters: operations answer 198",
                "opinitctl config set InitiatorName=NAME"};
    }
    const int error = open_error(path.c_str(), O_RDONLY);
    return {name, Result::problem,
            path +
                (error == 0 ? " has no line InitiatorName=NAME" : std::string(": ") + std::strerror(error)) +
                ": operations answer 191",
            "opinitctl config set InitiatorName=NAME"};
}

Check administration_command() {
    std::istringstream path(std::getenv("PATH") == nullptr ? "" : std::getenv("PATH"));
    for (std::string directory; std::getline(path, directory, ':');) {
        const std::string command = directory + "/iscsiadm";
        if (access(command.c_str(), X_OK) == 0) return {"iscsiadm", Result::ok, command, ""};
    }
    return {"iscsiadm", Result::problem,
            "not on PATH: discoveries find nothing, and a login that did not happen counts as done",
            "install open-iscsi, or add the directory of iscsiadm to PATH"};
}

/// The shell's own answer: one that takes the redirection for two commands prints the word.
bool shell_captures() {
    const std::unique_ptr<FILE, decltype(&pclose)> shell(popen("echo word 1&>/dev/null", "r"), pclose);
    return shell != nullptr && std::fgetc(shell.get()) == EOF;
}

Check shell() {
    std::error_code not_there;
    const std::string target = fs::canonical("/bin/sh", not_there).string();
    const std::string shell = "/bin/sh (" + (not_there ? not_there.message() : target) + ")";
    if (shell_captures()) return {"shell", Result::ok, shell + " captures the output of commands", ""};
    return {"shell", Result::problem,
            shell +
                " does not understand \"1&>FILE\": the output of a login is not captured, so a login, a "
                "removal and a change of startup count as done whatever becomes of them",
            "make bash the shell behind /bin/sh: ln -sf bash /bin/sh"};
}

Check privileges() {
    if (geteuid() == 0) return {"privileges", Result::ok, "root", ""};
    return {"privileges", Result::note, "not root: most operations change files or run commands of root",
            "run as root"};
}

Check answer() {
    if (check_stack_available() == 0) {
        return {"answer", Result::problem, "182: the stack counts as not installed",
                "see configuration file and module file"};
    }
    if (check_stack_running() == 0) {
        return {"answer", Result::problem, "183: the stack is installed and does not run",
                "see module loaded and daemon"};
    }
    return {"answer", Result::ok, "the stack is installed and runs", ""};
}

}  // namespace

std::vector<Check> examine_host() {
    int distribution_code = DISTRO_UNKNOWN;
    std::vector<Check> checks = {configuration_file(), module_file(), module_loaded(), daemon_processes(),
                                 distribution(distribution_code)};
    for (const Check& check : {init_scripts(distribution_code), initiator_name(), administration_command(),
                               shell(), privileges(), answer()}) {
        checks.push_back(check);
    }
    return checks;
}

}  // namespace opinitctl
