#include "core/base/captured_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/base/host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"

const char* tmperrfile = "/tmp/opiscsierr";

namespace opinit {
namespace {

bool is_device(const struct stat& entry) {
    return S_ISCHR(entry.st_mode) || S_ISBLK(entry.st_mode);
}

/// With a second name it could be any file of ours.
bool only_we_write(const struct stat& entry) {
    return S_ISREG(entry.st_mode) && entry.st_uid == ::geteuid() && entry.st_nlink == 1 &&
           (entry.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// What an earlier command printed would be read again if the shell could not be started.
bool kept_and_emptied(const char* path) {
    struct stat entry;
    if (::lstat(path, &entry) != 0) return false;
    return is_device(entry) || (only_we_write(entry) && File{path, Access::empty});
}

}  // namespace

const char* captured_output_path() {
    return tmperrfile != nullptr ? tmperrfile : "";
}

void make_way_for_captured_output() {
    const int error = errno;
    const char* path = captured_output_path();
    if (!kept_and_emptied(path)) File{path, Access::create_anew};
    errno = error;  // how a command ended is read from it, too
}

void remove_captured_output() {
    const char* path = captured_output_path();
    struct stat entry;
    if (::lstat(path, &entry) == 0 && !is_device(entry)) ::unlink(path);
}

}  // namespace opinit
