#include "mounts.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>

#include "failure.h"
#include "unique_fd.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

constexpr const char* machine_root = "/.machine";

void mount_new(const char* type, const fs::path& target, unsigned long flags, const char* options) {
    if (mount(type, target.c_str(), type, flags, options) != 0) {
        throw_errno("cannot mount a private " + std::string(type) + " on " + target.string());
    }
}

void make_mount_point(const fs::path& source, const fs::path& target) {
    if (fs::is_directory(source)) {
        fs::create_directories(target);
    } else if (!fs::exists(target)) {
        fs::create_directories(target.parent_path());
        std::ofstream{target};
    }
}

}  // namespace

void enter_empty_root() {
    // The place only has to exist: pivot_root takes the new root away from it again.
    const fs::path place = "/tmp";
    mount_tmpfs(place, "mode=0755");
    const fs::path aside = place / fs::path(machine_root).filename();
    fs::create_directory(aside);
    if (syscall(SYS_pivot_root, place.c_str(), aside.c_str()) != 0) throw_errno("cannot change the root");
    fs::current_path("/");
}

void leave_machine_root() {
    if (umount2(machine_root, MNT_DETACH) != 0) throw_errno("cannot detach the machine's root");
    fs::remove(machine_root);
}

fs::path on_machine(const fs::path& absolute) {
    return machine_root / absolute.relative_path();
}

void bind_from_machine(const fs::path& path, const fs::path& target, Access access) {
    const fs::path source = on_machine(path);
    make_mount_point(source, target);
    const UniqueFd tree(
        open_tree(AT_FDCWD, source.c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE));
    if (tree.get() < 0) throw_errno("cannot take " + path.string());
    if (access == Access::read_only) {
        // Not a remount: that would have to repeat, mount by mount, the flags that a user namespace locks.
        mount_attr attributes = {};
        attributes.attr_set = MOUNT_ATTR_RDONLY;
        if (mount_setattr(tree.get(), "", AT_EMPTY_PATH | AT_RECURSIVE, &attributes, sizeof attributes) !=
            0) {
            throw_errno("cannot make " + path.string() + " read-only");
        }
    }
    if (move_mount(tree.get(), "", AT_FDCWD, target.c_str(), MOVE_MOUNT_F_EMPTY_PATH) != 0) {
        throw_errno("cannot show " + path.string());
    }
}

void mount_tmpfs(const fs::path& target, const char* options) {
    mount_new("tmpfs", target, MS_NOSUID | MS_NODEV, options);
}

void mount_procfs(const fs::path& target) {
    fs::create_directories(target);
    mount_new("proc", target, MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
}

}  // namespace simhost
