#include "sysfs_sessions.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

namespace opinitctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* session_class = "/sys/class/iscsi_session";
constexpr const char* connection_class = "/sys/class/iscsi_connection";

// Of a session in recovery some attributes exist and cannot be read.
std::string attribute(const fs::path& path) {
    std::ifstream file(path);
    std::string value;
    std::getline(file, value);
    return value == "(null)" || value == "<NULL>" ? "" : value;
}

std::string attribute(const fs::path& path, const fs::path& instead) {
    const std::string value = attribute(path);
    return value.empty() ? attribute(instead) : value;
}

std::optional<unsigned int> session_number(const std::string& entry) {
    static constexpr std::string_view prefix = "session";
    if (!entry.starts_with(prefix)) return std::nullopt;
    unsigned int number = 0;
    const char* const end = entry.data() + entry.size();
    const auto [stop, error] = std::from_chars(entry.data() + prefix.size(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// The kernel shows an IPv6 address with all its zeros.
std::string short_address(const std::string& text) {
    in6_addr address = {};
    char shortened[INET6_ADDRSTRLEN] = {};
    if (inet_pton(AF_INET6, text.c_str(), &address) != 1) return text;
    return inet_ntop(AF_INET6, &address, shortened, sizeof shortened);
}

SysfsSession read_session(unsigned int number) {
    const fs::path session = session_class / fs::path("session" + std::to_string(number));
    const fs::path connection = connection_class / fs::path("connection" + std::to_string(number) + ":0");
    return {number,
            attribute(session / "targetname"),
            attribute(session / "initiatorname"),
            attribute(session / "state"),
            attribute(session / "ifacename"),
            attribute(session / "tpgt"),
            short_address(attribute(connection / "address", connection / "persistent_address")),
            attribute(connection / "port", connection / "persistent_port")};
}

}  // namespace

std::vector<SysfsSession> sysfs_sessions() {
    std::vector<unsigned int> numbers;
    std::error_code no_module;
    for (const auto& entry : fs::directory_iterator(session_class, no_module)) {
        if (const auto number = session_number(entry.path().filename())) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    std::vector<SysfsSession> sessions;
    for (const unsigned int number : numbers) sessions.push_back(read_session(number));
    return sessions;
}

std::string portal_text(const SysfsSession& session) {
    if (session.address.empty()) return "";
    const bool ipv6 = session.address.find(':') != std::string::npos;
    return (ipv6 ? '[' + session.address + ']' : session.address) + ':' + session.port;
}

}  // namespace opinitctl
