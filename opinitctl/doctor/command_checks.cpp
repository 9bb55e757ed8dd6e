// What running commands and capturing their output needs.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl::doctor {
namespace {

Check administration_command() {
    const std::string name = "iscsiadm";
    if (const std::string path = find_program(name); !path.empty()) return ok(name, path);
    return {name, Result::problem,
            "not on PATH: discoveries find nothing, and a login that did not happen counts as done",
            "install open-iscsi, or add the directory of iscsiadm to PATH"};
}

const char* kind_of(const struct stat& entry) {
    return S_ISDIR(entry.st_mode)      ? "a directory"
           : S_ISLNK(entry.st_mode)    ? "a link"
           : S_ISFIFO(entry.st_mode)   ? "a FIFO"
           : !S_ISREG(entry.st_mode)   ? "no file"
           : entry.st_uid != geteuid() ? "another user's"
           : entry.st_nlink != 1       ? "a file with another name elsewhere"
                                       : "a file that others may write";
}

bool is_device(const struct stat& entry) {
    return S_ISCHR(entry.st_mode) || S_ISBLK(entry.st_mode);
}

bool is_own_file(const struct stat& entry) {
    return S_ISREG(entry.st_mode) && entry.st_uid == geteuid() && entry.st_nlink == 1 &&
           (entry.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// A path that the library makes free by itself; what stands there is somebody's attempt all the same.
Check way(const std::string& name, const std::string& path) {
    struct stat entry = {};
    if (lstat(path.c_str(), &entry) != 0 || is_own_file(entry))
        return ok(name, path + " is free to be written");
    if (path == tmperrfile && is_device(entry))
        return {name, Result::note, path + " is a device: nothing is captured"};
    return {name, Result::note, path + " is " + kind_of(entry) + ", and will be put out of the way",
            "find out who left it there"};
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
                "chmod +t " + path, change_mode({path}, S_ISVTX, 0)};
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
    return {administration_command(), temporary_directory(), way("captured output", tmperrfile),
            way("copy of the settings", "/tmp/tmpiscsidconf.txt"), privileges()};
}

}  // namespace opinitctl::doctor
