#include "core/base/captured_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/base/host_files.h"
#include "kvlinopinitr/open_initiator_functions.h"

const char* tmperrfile = "/tmp/opiscsierr";

namespace opinit {
namespace {

/// How a command ended is read from errno too, which therefore stays as it is meanwhile.
class KeptErrno {
public:
    KeptErrno() = default;
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;
    ~KeptErrno() { errno = value_; }

private:
    int value_ = errno;
};

bool is_device(const struct stat& entry) {
    return S_ISCHR(entry.st_mode) || S_ISBLK(entry.st_mode);
}

bool may_be_written(const struct stat& entry) {
    if (is_device(entry)) return true;
    // With a second name it could be any file of ours.
    return S_ISREG(entry.st_mode) && entry.st_uid == ::geteuid() && entry.st_nlink == 1;
}

}  // namespace

const char* captured_output_path() {
    return tmperrfile != nullptr ? tmperrfile : "";
}

void make_way_for_captured_output() {
    const KeptErrno kept;
    const char* path = captured_output_path();
    struct stat entry;
    if (::lstat(path, &entry) == 0) {
        if (may_be_written(entry)) return;
        S_ISDIR(entry.st_mode) ? ::rmdir(path) : ::unlink(path);
    }
    const File anew{path, Access::create_anew};
}

void remove_captured_output() {
    const char* path = captured_output_path();
    struct stat entry;
    if (::lstat(path, &entry) == 0 && !is_device(entry)) ::unlink(path);
}

}  // namespace opinit
