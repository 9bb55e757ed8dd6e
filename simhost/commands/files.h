#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simhost {

// The simulated host's own state: network table, call log, switches, the real process file system.
inline const std::filesystem::path run_directory = "/run/simhost";

std::optional<std::string> read_file(const std::filesystem::path& path);

// The first line without its newline; empty where there is none.
std::string read_line(const std::filesystem::path& path);

// Writes the whole file anew; throws std::filesystem::filesystem_error.
void write_file(const std::filesystem::path& path, std::string_view text, mode_t mode = 0644);

// Makes what is missing of the path, for its owner only.
void create_private_directories(const std::filesystem::path& path);

// The names in a directory, sorted; none where it cannot be read.
std::vector<std::string> names_in(const std::filesystem::path& directory);

std::vector<std::string_view> lines_of(std::string_view text);

// A whole decimal number and nothing else.
std::optional<unsigned> parse_number(std::string_view text);

}  // namespace simhost
