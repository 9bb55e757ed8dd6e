#include "machine.h"

#include <filesystem>
#include <set>
#include <string>

#include "links.h"
#include "mounts.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

// Made by the host itself, or below in a way of their own.
const std::set<std::string> not_as_they_are = {"bin", "dev",  "etc", "lib", "proc",
                                               "run", "sbin", "sys", "tmp", "var"};

// The machine's may be those of a real initiator.
const std::set<std::string> never_the_machines = {"init.d", "iscsi",   "iscsiadm",   "iscsid",
                                                  "issue",  "modules", "os-release", "systemctl"};

void show_top_level() {
    for (const auto& entry : fs::directory_iterator(on_machine("/"))) {
        const fs::path name = entry.path().filename();
        if (not_as_they_are.count(name) != 0) continue;
        if (entry.is_symlink()) {
            fs::copy_symlink(entry.path(), "/" / name);
        } else if (entry.is_directory()) {
            bind_from_machine("/" / name, "/" / name, Access::read_only);
        }
    }
}

void show_devices() {
    bind_from_machine("/dev", "/dev", Access::writable);
    if (fs::is_directory("/dev/shm")) mount_tmpfs("/dev/shm", "mode=1777");
}

// The host has entries of its own in these, also where the machine's are links into a read-only /usr:
// so each is a directory of links to the machine's entries.
void show_with_room_for_more(const std::string& name) {
    const fs::path own = "/" + name;
    const fs::path real = on_machine(own);
    fs::create_directories(own);
    if (fs::is_symlink(real)) {
        link_entries("/" / fs::read_symlink(real), own, Directory::in_its_place, never_the_machines);
    } else if (fs::is_directory(real)) {
        const fs::path aside = "/run/simhost/host-" + name;
        bind_from_machine(own, aside, Access::read_only);
        link_entries(aside, own, Directory::moved, never_the_machines);
    }
}

}  // namespace

void show_machine() {
    show_top_level();
    show_devices();
    for (const char* name : {"bin", "etc", "lib", "sbin"}) show_with_room_for_more(name);
}

}  // namespace simhost
