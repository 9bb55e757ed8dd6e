#pragma once

#include <filesystem>

namespace simhost {

enum class Access { read_only, writable };

// Makes an empty file system the root of this process. The machine's own root stays reachable
// through on_machine() until leave_machine_root().
void enter_empty_root();
void leave_machine_root();
std::filesystem::path on_machine(const std::filesystem::path& absolute);

// Shows a file or directory of the machine, with all that is mounted below it, at `target`, which is
// made when it is missing.
void bind_from_machine(const std::filesystem::path& path, const std::filesystem::path& target, Access access);

void mount_tmpfs(const std::filesystem::path& target, const char* options);
void mount_procfs(const std::filesystem::path& target);

}  // namespace simhost
