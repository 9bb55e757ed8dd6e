#include "doctor/host.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl::doctor {

namespace fs = std::filesystem;

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool is_executable(const std::string& path) {
    return access(path.c_str(), X_OK) == 0;
}

bool is_root() {
    return geteuid() == 0;
}

int open_error(const std::string& path, int mode) {
    const int fd = open(path.c_str(), mode | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return errno;
    close(fd);
    return 0;
}

std::string reason(const std::string& path, int error) {
    return path + ": " + std::generic_category().message(error);
}

std::string remedy_for(int error, const std::string& path, const std::string& otherwise) {
    switch (error) {
        case EACCES:
            return "run as root";
        case EROFS:
            return "mount the file system of " + path + " for writing";
        case EISDIR:
            return "take the directory " + path + " away and put the file in its place";
        default:
            return otherwise;
    }
}

std::string kernel_release() {
    utsname kernel = {};
    uname(&kernel);
    return kernel.release;
}

std::string find_program(const std::string& name) {
    const char* const path = std::getenv("PATH");
    for (const std::string& directory : split(path == nullptr ? "" : path, ':')) {
        if (is_executable(directory + '/' + name)) return directory + '/' + name;
    }
    return "";
}

bool systemd_runs_the_host() {
    return fs::is_directory("/run/systemd/system");
}

int start_refusal(int& distribution_code) {
    const int unknown = get_linux_distro(&distribution_code);
    return unknown == 1 && systemd_runs_the_host() ? 0 : unknown;
}

}  // namespace opinitctl::doctor
