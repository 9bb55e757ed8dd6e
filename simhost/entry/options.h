#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace simhost {

struct Options {
    std::string distro = "redhat";
    std::string sysfs = "today";
    bool stopped = false;
    std::optional<std::filesystem::path> state;
    std::vector<std::filesystem::path> writable;
    std::filesystem::path templates;
    std::filesystem::path project;
    std::filesystem::path build;
    std::vector<std::string> command;
};

// Either the options of a run, or the exit code of a call that is over (help was asked for, or the
// usage was wrong and has been explained). All paths are absolute and without links.
struct ParsedOptions {
    std::optional<Options> options;
    int exit_code = 0;
};

ParsedOptions parse_options(int argc, char** argv);

}  // namespace simhost
