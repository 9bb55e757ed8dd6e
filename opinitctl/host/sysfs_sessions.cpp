#include "host/sysfs_sessions.h"

#include <algorithm>

#include "host/host_files.h"
#include "host/portal.h"

namespace opinitctl {
namespace {

constexpr const char* session_class = "/sys/class/iscsi_session";

std::string session_path(unsigned int number) {
    return std::string(session_class) + "/session" + std::to_string(number);
}

// Of a session in recovery some attributes exist and cannot be read.
std::string attribute(const std::string& path) {
    const std::string value = text_in(path);
    return value == "(null)" || value == "<NULL>" ? "" : value;
}

std::string in_small_letters(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// While its target is away, a connection has no peer, and tells the portal that it was made for.
std::string portal_attribute(unsigned int number, const std::string& name) {
    const std::string value = connection_attribute(number, name);
    return value.empty() ? connection_attribute(number, "persistent_" + name) : value;
}

// Today the link of the class entry names the SCSI host, formerly the link to the device did.
std::string host_of(unsigned int number) {
    const std::string path = session_path(number);
    for (const std::string& link : {link_text(path), link_text(path + "/device")}) {
        for (const std::string& part : split(link, '/')) {
            if (part.starts_with("host")) return part;
        }
    }
    return "unknown";
}

}  // namespace

std::vector<SysfsSession> sysfs_sessions() {
    std::vector<SysfsSession> sessions;
    for (const unsigned int number : session_numbers()) sessions.push_back(sysfs_session(number));
    return sessions;
}

SysfsSession sysfs_session(unsigned int number) {
    const std::string session = session_path(number) + '/';
    return {number,
            attribute(session + "targetname"),
            attribute(session + "initiatorname"),
            in_small_letters(attribute(session + "state")),
            attribute(session + "ifacename"),
            attribute(session + "tpgt"),
            portal_attribute(number, "address"),
            portal_attribute(number, "port")};
}

std::string portal_text(const SysfsSession& session) {
    return portal_text(session.address, session.port);
}

std::vector<unsigned int> session_numbers() {
    std::vector<unsigned int> numbers;
    for (const std::string& name : names_in(session_class)) {
        if (!name.starts_with("session")) continue;
        if (const auto number = number_in(name.substr(7))) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool session_exists(unsigned int number) {
    const std::vector<unsigned int> numbers = session_numbers();
    return std::binary_search(numbers.begin(), numbers.end(), number);
}

std::string connection_attribute(unsigned int number, const std::string& name) {
    return attribute("/sys/class/iscsi_connection/connection" + std::to_string(number) + ":0/" + name);
}

std::string host_attribute(unsigned int number, const std::string& name) {
    return attribute("/sys/class/iscsi_host/" + host_of(number) + '/' + name);
}

}  // namespace opinitctl
