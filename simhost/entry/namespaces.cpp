#include "namespaces.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "failure.h"
#include "unique_fd.h"

namespace simhost {

namespace {

constexpr int private_parts = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWIPC | CLONE_NEWUTS;

// Machines forbid it in several places: some let a user namespace be made but nothing be done in it.
[[noreturn]] void throw_refused(const std::string& step) {
    throw_errno("this machine allows no private namespaces to this user (try it as root): " + step);
}

void write_process_file(const char* path, const std::string& text) {
    const UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
    if (file.get() < 0 || write(file.get(), text.data(), text.size()) < 0) throw_refused(path);
}

std::string map_to_root(unsigned id) {
    return "0 " + std::to_string(id) + " 1";
}

void enter_user_namespace() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(private_parts | CLONE_NEWUSER) != 0) throw_refused("unshare");
    // Without this the kernel refuses a group map from an ordinary user.
    write_process_file("/proc/self/setgroups", "deny");
    write_process_file("/proc/self/uid_map", map_to_root(user));
    write_process_file("/proc/self/gid_map", map_to_root(group));
}

}  // namespace

void enter_namespaces() {
    if (unshare(private_parts) != 0) enter_user_namespace();
    constexpr std::string_view name = "simhost";
    if (sethostname(name.data(), name.size()) != 0) throw_refused("host name");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) throw_refused("mounts");
}

}  // namespace simhost
