#include "sessions/scsi_host.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

namespace opinit {
namespace {

std::optional<std::string> read_link(const std::string& path) {
    std::array<char, 4096> text;
    const ssize_t size = ::readlink(path.c_str(), text.data(), text.size());
    if (size < 0) return std::nullopt;
    return std::string{text.data(), static_cast<std::size_t>(size)};
}

/// The host is the last component but one, as in ".../host3/session1".
std::optional<int> host_above_session(const std::string& link) {
    const std::filesystem::path parent = std::filesystem::path{link}.parent_path();
    unsigned int host;
    if (!parent.has_parent_path() || std::sscanf(parent.filename().c_str(), "host%u", &host) != 1) {
        return std::nullopt;
    }
    return static_cast<int>(host);
}

}  // namespace

std::optional<int> get_session_host(int session) {
    const std::string entry = "/sys/class/iscsi_session/session" + std::to_string(session);
    const std::optional<std::string> device = read_link(entry + "/device");
    if (!device) return std::nullopt;
    if (const auto host = host_above_session(*device)) return host;

    // Current kernels write the link as ../../../session1, which names the host only together with the
    // directory that the session's class entry leads to.
    const std::optional<std::string> leads_to = read_link(entry);
    if (!leads_to) return std::nullopt;
    return host_above_session((std::filesystem::path{*leads_to} / *device).lexically_normal());
}

}  // namespace opinit
