// The input is the text of every attribute of a session and its disk.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

constexpr const char* attribute = "/run/attribute";

void make_session() {
    const host::Session session{.number = 1, .luns = {{0, "sda", "8", "V", "M"}}};
    host::add_session(session);
    const std::string lun = "/sys/bus/scsi/devices/3:0:0:0/";
    for (const std::string& path : {std::string{"/sys/class/iscsi_session/session1/targetname"},
                                    std::string{"/sys/class/iscsi_connection/connection1:0/address"},
                                    std::string{"/sys/class/iscsi_connection/connection1:0/port"},
                                    std::string{"/sys/class/iscsi_host/host3/ipaddress"}, lun + "vendor",
                                    lun + "model", lun + "block/sda/size"}) {
        host::make_link(path, attribute);
    }
}

/// The first line as a C text, absent when it says so.
std::string line(const std::string& input, std::size_t longest) {
    const auto lines = fuzz::pieces(input, longest);
    return lines.empty() || lines[0].starts_with("<NULL>") ? "" : lines[0].c_str();
}

std::string word(const std::string& input, std::size_t longest) {
    const auto found = fuzz::words(line(input, longest), fuzz::whitespace);
    return found.empty() ? "" : found[0];
}

std::string address(const std::string& text) {
    std::string bytes(16, '\0');
    if (fuzz::contains(text, ":")) return bytes;  // IPv6
    const auto parts = fuzz::words(text, ".");
    for (std::size_t i = 0; i < std::min(parts.size(), bytes.size()); ++i) {
        bytes[i] = static_cast<char>(std::strtol(parts[i].c_str(), nullptr, 10));
    }
    return bytes;
}

template <std::size_t size>
std::string bytes(const std::uint8_t (&field)[size]) {
    return {reinterpret_cast<const char*>(field), size};
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    static const bool made = (make_session(), true);
    put(made ? attribute : "", input);
    _SessionInformation* session = nullptr;
    unsigned int count = 0;
    require_equal("0", std::to_string(_QuerySessionList(&session, &count, nullptr)), "sessions");
    const _ConnectionInformation& connection = *session->Connections;
    unsigned short port = 0;
    std::sscanf(line(input, 79).c_str(), "%hu", &port);
    require_equal(word(input, 255), session->TargetName, "target name");
    require_equal(address(word(input, 79)), bytes(connection.TargetAddress), "target address");
    require_equal(address(word(input, 79)), bytes(connection.InitiatorAddress), "initiator address");
    require_equal(std::to_string(port), std::to_string(connection.TargetPort), "port");
    std::free(session->Connections);
    std::free(session);

    _DiskInformation* disk = nullptr;
    require_equal("0", std::to_string(_QueryDiskList("1", &disk, &count)), "disks");
    const std::string text = word(input, 1024).substr(0, 31);
    require_equal(text, disk->Vendor, "vendor");
    require_equal(text, disk->Model, "model");
    require_equal(std::to_string(std::strtoull(text.c_str(), nullptr, 10) << 9), disk->Size, "size");
    std::free(disk);
}
