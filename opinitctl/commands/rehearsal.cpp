#include "commands/rehearsal.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

#include "host/host_files.h"

namespace opinitctl {
namespace {

constexpr const char* directory = "/etc/iscsi/";
constexpr const char* files[] = {"iscsid.conf", "initiatorname.iscsi"};

void require(int result) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), "a trial run needs a mount namespace");
    }
}

void cover(const char* path) {
    require(mount("tmpfs", path, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0700"));
}

}  // namespace

void enter_rehearsal() {
    std::string contents[std::size(files)];
    for (std::size_t i = 0; i < std::size(files); ++i) {
        std::ifstream file(std::string(directory) + files[i]);
        contents[i].assign(std::istreambuf_iterator<char>(file), {});
    }
    require(unshare(CLONE_NEWNS));
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
    cover(directory);
    // The library writes iscsid.conf by way of a file there.
    cover("/tmp");
    for (std::size_t i = 0; i < std::size(files); ++i) {
        if (!contents[i].empty()) std::ofstream(std::string(directory) + files[i]) << contents[i];
    }
}

}  // namespace opinitctl
