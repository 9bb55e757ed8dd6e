#include "doctor/host.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

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
        case EPERM:
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
    std::istringstream directories(path == nullptr ? "" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (is_executable(directory + '/' + name)) return directory + '/' + name;
    }
    return "";
}

bool systemd_runs_the_host() {
    return fs::is_directory("/run/systemd/system");
}

std::vector<std::string> command_line(int process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/cmdline");
    std::vector<std::string> words;
    for (std::string word; std::getline(file, word, '\0');) words.push_back(word);
    return words;
}

std::vector<int> daemon_processes() {
    std::vector<int> found;
    std::error_code unreadable;
    for (const auto& entry : fs::directory_iterator("/proc", unreadable)) {
        const std::string name = entry.path().filename();
        int process = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), process).ptr != name.data() + name.size())
            continue;
        const auto words = command_line(process);
        if (!words.empty() && words.front().find("iscsid") != std::string::npos) found.push_back(process);
    }
    return found;
}

}  // namespace opinitctl::doctor
