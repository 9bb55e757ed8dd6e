#include "own_directories.h"

#include "links.h"
#include "mounts.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

constexpr const char* kept_in_state[] = {"etc", "proc", "run", "sys", "var"};

constexpr const char* needed[] = {"/etc/iscsi",
                                  "/run/lock",
                                  "/run/simhost/bin",
                                  "/run/simhost/override",
                                  "/sys/bus/scsi/devices",
                                  "/sys/class",
                                  "/sys/devices/platform",
                                  "/tmp",
                                  "/var/cache",
                                  "/var/lib",
                                  "/var/log",
                                  "/var/tmp"};

void take_from_state(const fs::path& state, const char* name) {
    fs::create_directories(on_machine(state / name));
    bind_from_machine(state / name, fs::path("/") / name, Access::writable);
}

}  // namespace

void make_own_directories(const std::optional<fs::path>& state) {
    for (const char* name : kept_in_state) {
        fs::create_directory(fs::path("/") / name);
        if (state) take_from_state(*state, name);
    }
    for (const char* path : needed) fs::create_directories(path);
    for (const char* shared : {"/tmp", "/var/tmp"})
        fs::permissions(shared, fs::perms::all | fs::perms::sticky_bit);
    replace_link("/run", "/var/run");
}

}  // namespace simhost
