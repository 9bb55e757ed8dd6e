#include "distros.h"

#include <stdexcept>

namespace simhost {

namespace {

constexpr std::string_view red_hat_9 = R"(NAME="Red Hat Enterprise Linux"
VERSION="9.4"
ID="rhel"
ID_LIKE="fedora"
VERSION_ID="9.4"
PRETTY_NAME="Red Hat Enterprise Linux 9.4"
)";

constexpr std::string_view suse_15 = R"(NAME="SLES"
VERSION="15-SP5"
VERSION_ID="15.5"
PRETTY_NAME="SUSE Linux Enterprise Server 15 SP5"
ID="sles"
ID_LIKE="suse"
)";

constexpr std::string_view debian_13 = R"(PRETTY_NAME="Debian GNU/Linux 13"
NAME="Debian GNU/Linux"
VERSION_ID="13"
VERSION="13"
ID=debian
)";

constexpr std::string_view other_linux = R"(NAME="Some Other Linux"
ID=other
VERSION_ID="1.0"
)";

// Those of old name themselves in the banner and come with init scripts. Those of today leave the name to
// os-release (\S stands for it on the console), compress their modules and leave the daemon to systemd. That
// of Debian is neither Red Hat nor SUSE, and its shell is not bash.
constexpr Distro distros[] = {
    {"redhat", "Red Hat Enterprise Linux Server release 6.10 (Santiago)\nKernel \\r on an \\m\n\n", "",
     "iscsi_tcp.ko", true, true, false},
    {"suse", "Welcome to SUSE Linux Enterprise Server 11 SP4 (x86_64)\nKernel \\r on an \\m\n\n", "",
     "iscsi_tcp.ko", true, false, false},
    {"other", "Some Other Linux 1.0\nKernel \\r on an \\m\n\n", other_linux, "iscsi_tcp.ko", true, true,
     false},
    {"redhat-today", "\\S\nKernel \\r on an \\m\n\n", red_hat_9, "iscsi_tcp.ko.xz", false, false, true},
    {"suse-today", "\nWelcome to \\S - Kernel \\r (\\l).\n\n", suse_15, "iscsi_tcp.ko.zst", false, false,
     true},
    {"debian-today", "Debian GNU/Linux 13 \\n \\l\n\n", debian_13, "iscsi_tcp.ko.xz", false, false, true,
     "dash"},
};

}  // namespace

std::vector<std::string> distro_names() {
    std::vector<std::string> names;
    for (const Distro& distro : distros) names.emplace_back(distro.name);
    return names;
}

const Distro& distro_named(std::string_view name) {
    for (const Distro& distro : distros) {
        if (distro.name == name) return distro;
    }
    throw std::invalid_argument("no such distribution: " + std::string(name));
}

}  // namespace simhost
