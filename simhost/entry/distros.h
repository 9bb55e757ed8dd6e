#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace simhost {

// What tells one kind of host from another.
struct Distro {
    std::string_view name;
    std::string_view banner;  // the first lines of /etc/issue
    std::string_view os_release;
    std::string_view module_file;
    bool has_stack_script;
    bool has_daemon_script;
    bool has_systemd;
    std::string_view shell = "bash";  // what /bin/sh is
};

std::vector<std::string> distro_names();

// Throws std::invalid_argument where there is none of this name.
const Distro& distro_named(std::string_view name);

}  // namespace simhost
