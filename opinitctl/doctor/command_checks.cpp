// What running commands and capturing their output needs.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "running/shell_output.h"

namespace opinitctl::doctor {
namespace {

namespace fs = std::filesystem;

Check administration_command() {
    const std::string name = "iscsiadm";
    if (const std::string path = find_program(name); !path.empty()) return ok(name, path);
    return {name, Result::problem,
            "not on PATH: discoveries find nothing, and a login that did not happen counts as done",
            "install open-iscsi, or add the directory of iscsiadm to PATH"};
}

/// The shell's own answer: one that takes the redirection for two commands prints the word.
bool shell_captures() {
    const ShellOutput shell(popen("echo word 1&>/dev/null", "r"));
    return shell != nullptr && std::fgetc(shell.get()) == EOF;
}

Check shell() {
    const std::string name = "shell", path = "/bin/sh";
    std::error_code not_there;
    const std::string target = fs::canonical(path, not_there).string();
    const std::string named = path + " (" + (not_there ? not_there.message() : target) + ")";
    if (shell_captures()) return ok(name, named + " captures the output of commands");
    Check check = {
        name, Result::problem,
        named +
            " does not understand \"1&>FILE\": to an agent every login, removal and change of startup "
            "counts as done whatever becomes of it; opinitctl looks at the sessions itself",
        "make bash the shell behind " + path};
    if (fs::is_symlink(path) && is_executable("/bin/bash")) check.fix = make_link(path, "bash");
    return check;
}

std::string kind_of(const struct stat& entry) {
    switch (entry.st_mode & S_IFMT) {
        case S_IFDIR:
            return "a directory";
        case S_IFLNK:
            return "a link";
        case S_IFIFO:
            return "a FIFO";
        case S_IFREG:
            return entry.st_uid != geteuid() ? "a file of user " + std::to_string(entry.st_uid)
                                             : "a file with another name elsewhere";
        default:
            return "something that is no file";
    }
}

bool is_device(const struct stat& entry) {
    return S_ISCHR(entry.st_mode) || S_ISBLK(entry.st_mode);
}

bool is_own_file(const struct stat& entry) {
    return S_ISREG(entry.st_mode) && entry.st_uid == geteuid() && entry.st_nlink == 1;
}

/// Only what cannot be removed stops a write; anything else that stands there is somebody's attempt.
Check taken(const std::string& name, const std::string& path, const struct stat& entry,
            const std::string& effect) {
    std::error_code unreadable;
    const bool stays = S_ISDIR(entry.st_mode) && !fs::is_empty(path, unreadable);
    return {name, stays ? Result::problem : Result::note,
            path + " is " + kind_of(entry) +
                (stays ? " with something in it: " + effect : ", and will be removed"),
            "find out who left it there", move_aside(path)};
}

Check capture_path() {
    const std::string name = "captured output";
    const std::string path = tmperrfile;
    struct stat entry = {};
    if (lstat(path.c_str(), &entry) != 0 || is_own_file(entry))
        return ok(name, path + " is free to be written");
    if (is_device(entry)) return {name, Result::note, path + " is a device: nothing is captured"};
    return taken(name, path, entry,
                 "the output of commands is not captured, and every login counts as done to an agent");
}

Check settings_copy() {
    const std::string name = "copy of the settings", path = "/tmp/tmpiscsidconf.txt";
    struct stat entry = {};
    if (lstat(path.c_str(), &entry) != 0 || is_own_file(entry))
        return ok(name, path + " is free to be written");
    return taken(name, path, entry, "settings cannot be changed");
}

Check temporary_directory() {
    const std::string name = "temporary directory", path = "/tmp";
    struct stat entry = {};
    struct statvfs space = {};
    if (stat(path.c_str(), &entry) != 0) {
        return {name, Result::problem, reason(path, errno) + ": nothing is captured",
                "make it: mkdir -m 1777 " + path};
    }
    if (access(path.c_str(), W_OK) != 0) {
        return {name, Result::problem,
                reason(path, errno) + ": nothing is captured, and settings cannot be changed",
                remedy_for(errno, path, "see why it cannot be written")};
    }
    if ((entry.st_mode & S_IWOTH) != 0 && (entry.st_mode & S_ISVTX) == 0) {
        return {name, Result::problem,
                path +
                    " is open to all without the sticky bit: any user can put his own file in the place of "
                    "another",
                "chmod +t " + path, change_mode(path, S_ISVTX, 0)};
    }
    if (statvfs(path.c_str(), &space) == 0 && space.f_blocks != 0 && space.f_bavail == 0) {
        return {name, Result::problem, path + " is full: nothing is captured, and settings cannot be changed",
                "make room in " + path};
    }
    return ok(name, path + " can be written");
}

Check privileges() {
    const std::string name = "privileges";
    if (is_root()) return ok(name, "root");
    return {name, Result::note, "not root: most operations change files or run commands of root",
            "run as root"};
}

}  // namespace

Checks examine_commands() {
    return {administration_command(), shell(),         temporary_directory(),
            capture_path(),           settings_copy(), privileges()};
}

}  // namespace opinitctl::doctor
