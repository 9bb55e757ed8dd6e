#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "session_entries.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

const fs::path modules_file = "/proc/modules";
const fs::path class_directory = "/sys/class";

struct ModuleLine {
    std::string_view name;
    std::string_view rest;
};

// Newest first, as the kernel lists them.
constexpr ModuleLine module_lines[] = {
    {"iscsi_tcp", "28672 0 - Live 0xffffffffc0b3a000"},
    {"libiscsi_tcp", "36864 1 iscsi_tcp, Live 0xffffffffc0b2c000"},
    {"libiscsi", "77824 2 iscsi_tcp,libiscsi_tcp, Live 0xffffffffc0b12000"},
    {"scsi_transport_iscsi", "151552 3 iscsi_tcp,libiscsi_tcp,libiscsi, Live 0xffffffffc0ae0000"},
};

constexpr std::array class_names = {"iscsi_transport", "iscsi_endpoint",   "iscsi_iface",
                                    "iscsi_session",   "iscsi_connection", "iscsi_host"};

std::string kernel_release() {
    utsname system{};
    ::uname(&system);
    return system.release;
}

std::string_view first_word(std::string_view line) {
    return line.substr(0, line.find(' '));
}

bool is_ours(std::string_view line) {
    for (const ModuleLine& module : module_lines) {
        if (first_word(line) == module.name) return true;
    }
    return false;
}

std::string other_module_lines() {
    const std::string text = read_file(modules_file).value_or("");
    std::string others;
    for (const std::string_view line : lines_of(text)) {
        if (!is_ours(line)) others += std::string(line) + "\n";
    }
    return others;
}

bool is_loaded() {
    const std::string text = read_file(modules_file).value_or("");
    for (const std::string_view line : lines_of(text)) {
        if (first_word(line) == "iscsi_tcp") return true;
    }
    return false;
}

bool has_module_file(const fs::path& directory) {
    constexpr std::array suffixes = {"", ".xz", ".zst", ".gz"};
    return std::any_of(suffixes.begin(), suffixes.end(), [&directory](const char* suffix) {
        return fs::exists(directory / (std::string("iscsi_tcp.ko") + suffix));
    });
}

void load() {
    std::string text;
    for (const ModuleLine& module : module_lines) {
        text += std::string(module.name) + " " + std::string(module.rest) + "\n";
    }
    write_file(modules_file, text + other_module_lines());
    for (const char* name : class_names) fs::create_directories(class_directory / name);
    fs::create_directories(class_directory / "iscsi_transport/tcp");
}

void unload() {
    write_file(modules_file, other_module_lines());
    for (const char* name : class_names) fs::remove_all(class_directory / name);
    restart_session_numbers();
}

std::string only_argument(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') throw Failure(1, "ERROR: one module name is needed");
    return argv[1];
}

}  // namespace

int modprobe(int argc, char** argv) {
    const std::string name = only_argument(argc, argv);
    const fs::path tree = fs::path("/lib/modules") / kernel_release();
    if (name != "iscsi_tcp" || !has_module_file(tree / "kernel/drivers/scsi")) {
        throw Failure(1, "FATAL: Module " + name + " not found in directory " + tree.string());
    }
    if (fs::exists(run_directory / "modprobe-fails")) {
        throw Failure(1, "ERROR: could not insert 'iscsi_tcp': Operation not permitted");
    }
    load();
    return 0;
}

int rmmod(int argc, char** argv) {
    const std::string name = only_argument(argc, argv);
    if (name != "iscsi_tcp" || !is_loaded())
        throw Failure(1, "ERROR: Module " + name + " is not currently loaded");
    if (!names_in(class_directory / "iscsi_session").empty()) {
        throw Failure(1, "ERROR: Module " + name + " is in use");
    }
    unload();
    return 0;
}

}  // namespace simhost
