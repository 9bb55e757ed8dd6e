#include "process_table.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "links.h"
#include "mounts.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

const fs::path table = "/proc";
const fs::path real_table = "/run/simhost/proc";

bool is_process(const fs::path& entry) {
    return std::isdigit(static_cast<unsigned char>(entry.filename().native().front())) != 0;
}

// The machine's own modules and SCSI devices are none of the host's.
bool is_of_the_host(const fs::path& entry) {
    return !is_process(entry) && entry.filename() != "modules" && entry.filename() != "scsi";
}

}  // namespace

void make_process_table() {
    mount_procfs(real_table);
    for (const auto& entry : fs::directory_iterator(real_table)) {
        if (is_of_the_host(entry)) replace_link(entry.path(), table / entry.path().filename());
    }
    std::ofstream(table / "modules", std::ios::app);
}

bool forget_old_processes() {
    std::vector<fs::path> old;
    for (const auto& entry : fs::directory_iterator(table)) {
        if (is_process(entry)) old.push_back(entry);
    }
    for (const fs::path& entry : old) fs::remove(entry);
    return !old.empty();
}

void show_process(pid_t process) {
    const std::string name = std::to_string(process);
    replace_link(real_table / name, table / name);
}

void hide_process(pid_t process) {
    std::error_code not_listed;
    fs::remove(table / std::to_string(process), not_listed);
}

}  // namespace simhost
