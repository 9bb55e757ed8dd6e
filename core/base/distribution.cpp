// On what distribution the stack is started and stopped.
#include <array>
#include <optional>
#include <string_view>

#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/tokens.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {
namespace {

constexpr std::size_t release_line_limit = 512;

struct Family {
    std::string_view name;
    int code;
};
constexpr Family families[] = {
    {"rhel", DISTRO_REDHAT}, {"fedora", DISTRO_REDHAT}, {"centos", DISTRO_REDHAT},
    {"suse", DISTRO_SUSE},   {"opensuse", DISTRO_SUSE}, {"sles", DISTRO_SUSE},
};

bool separates_word(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '"' || c == '\'';
}

std::optional<int> family_of(std::string_view words) {
    while (!words.empty()) {
        const std::string_view word = next_token(words, separates_word);
        for (const Family& family : families) {
            if (word == family.name) return family.code;
        }
    }
    return std::nullopt;
}

/// Current distributions name themselves here, and no longer in /etc/issue.
int distribution_by_os_release() {
    const File file{"/etc/os-release", Access::read};
    if (!file) return DISTRO_UNKNOWN;
    LineReader lines{file, release_line_limit};
    while (const auto line = lines.next()) {
        for (const std::string_view key : {"ID=", "ID_LIKE="}) {
            if (!line->starts_with(key)) continue;
            if (const auto code = family_of(line->substr(key.size()))) return *code;
        }
    }
    return DISTRO_UNKNOWN;
}

int distribution_by_banner(const File& banner) {
    std::array<char, 80> text{};
    const std::ptrdiff_t size = banner.read(text);
    const std::string_view head{text.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
    if (head.find("Red Hat") != std::string_view::npos) return DISTRO_REDHAT;
    if (head.find("SUSE") != std::string_view::npos) return DISTRO_SUSE;
    return distribution_by_os_release();
}

}  // namespace
}  // namespace opinit

int get_linux_distro(int* code) {
    using namespace opinit;
    constexpr int cannot_open = static_cast<int>(iscsi_status::cannot_open_file);
    return without_exceptions(cannot_open, [code] {
        const File banner{"/etc/issue", Access::read_and_write};
        if (!banner) return cannot_open;
        *code = distribution_by_banner(banner);
        return *code == DISTRO_UNKNOWN ? 1 : 0;
    });
}
