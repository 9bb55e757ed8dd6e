#include "modules.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "files.h"

namespace fs = std::filesystem;

namespace simhost {
namespace {

const fs::path modules_file = "/proc/modules";
const fs::path class_directory = "/sys/class";
const fs::path transport = class_directory / "iscsi_transport/tcp";

// Newest first, as the kernel lists them. Addresses are the same each time.
constexpr std::string_view loaded_lines =
    "iscsi_tcp 28672 0 - Live 0xffffffffc0b3a000\n"
    "libiscsi_tcp 36864 1 iscsi_tcp, Live 0xffffffffc0b2c000\n"
    "libiscsi 77824 2 iscsi_tcp,libiscsi_tcp, Live 0xffffffffc0b12000\n"
    "scsi_transport_iscsi 151552 3 iscsi_tcp,libiscsi_tcp,libiscsi, Live 0xffffffffc0ae0000\n";

// Those that iscsi_tcp needs stay when it goes, and with them the classes.
constexpr std::string_view unloaded_lines =
    "libiscsi_tcp 36864 0 - Live 0xffffffffc0b2c000\n"
    "libiscsi 77824 1 libiscsi_tcp, Live 0xffffffffc0b12000\n"
    "scsi_transport_iscsi 151552 2 libiscsi_tcp,libiscsi, Live 0xffffffffc0ae0000\n";

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
    const std::vector<std::string_view> ours = lines_of(loaded_lines);
    return std::any_of(ours.begin(), ours.end(),
                       [line](std::string_view own) { return first_word(own) == first_word(line); });
}

std::string other_module_lines() {
    const std::string text = read_file(modules_file).value_or("");
    std::string others;
    for (const std::string_view line : lines_of(text)) {
        if (!is_ours(line)) others += std::string(line) + "\n";
    }
    return others;
}

void replace_our_lines(std::string_view lines) {
    write_file(modules_file, std::string(lines) + other_module_lines());
}

bool has_module_file(const fs::path& directory) {
    constexpr std::array suffixes = {"", ".xz", ".zst", ".gz"};
    return std::any_of(suffixes.begin(), suffixes.end(), [&directory](const char* suffix) {
        return fs::exists(directory / (std::string("iscsi_tcp.ko") + suffix));
    });
}

void load() {
    replace_our_lines(loaded_lines);
    for (const char* name : class_names) fs::create_directories(class_directory / name);
    fs::create_directories(transport);
}

void unload() {
    replace_our_lines(unloaded_lines);
    fs::remove(transport);
}

fs::path module_tree() {
    return fs::path("/lib/modules") / kernel_release();
}

bool can_be_loaded() {
    return has_module_file(module_tree() / "kernel/drivers/scsi") &&
           !fs::exists(run_directory / "modprobe-fails");
}

std::string only_argument(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') throw Failure(1, "ERROR: one module name is needed");
    return argv[1];
}

}  // namespace

bool has_driver() {
    return fs::exists(transport);
}

bool load_driver() {
    if (!has_driver() && can_be_loaded()) load();
    return has_driver();
}

int modprobe(int argc, char** argv) {
    const std::string name = only_argument(argc, argv);
    if (name != "iscsi_tcp" || !has_module_file(module_tree() / "kernel/drivers/scsi")) {
        throw Failure(1, "FATAL: Module " + name + " not found in directory " + module_tree().string());
    }
    if (!can_be_loaded()) throw Failure(1, "ERROR: could not insert 'iscsi_tcp': Operation not permitted");
    load();
    return 0;
}

int rmmod(int argc, char** argv) {
    const std::string name = only_argument(argc, argv);
    if (name != "iscsi_tcp" || !has_driver())
        throw Failure(1, "ERROR: Module " + name + " is not currently loaded");
    if (!names_in(class_directory / "iscsi_session").empty()) {
        throw Failure(1, "ERROR: Module " + name + " is in use");
    }
    unload();
    return 0;
}

}  // namespace simhost
