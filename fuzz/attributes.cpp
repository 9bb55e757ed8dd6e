// The input is the text of every attribute of a session and its disk.
#include <cstdlib>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

constexpr const char* attribute = "/run/attribute";

bool make_session() {
    host::add_session({.number = 1, .luns = {{0, "sda", "8", "V", "M"}}});
    for (const char* path :
         {"class/iscsi_session/session1/targetname", "class/iscsi_connection/connection1:0/address",
          "class/iscsi_connection/connection1:0/port", "class/iscsi_host/host3/ipaddress",
          "bus/scsi/devices/3:0:0:0/vendor", "bus/scsi/devices/3:0:0:0/model",
          "bus/scsi/devices/3:0:0:0/block/sda/size"}) {
        host::make_link(std::string{"/sys/"} + path, attribute);
    }
    return true;
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
    std::string bytes;
    // None of IPv6.
    for (const std::string& part : fuzz::words(fuzz::contains(text, ":") ? "" : text, ".")) {
        bytes += static_cast<char>(std::strtol(part.c_str(), nullptr, 10));
    }
    bytes.resize(16);
    return bytes;
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    static const bool made = make_session();
    host::write_file(made ? attribute : "", input);
    _SessionInformation* session = nullptr;
    unsigned int count = 0;
    require_equal(0, _QuerySessionList(&session, &count, nullptr), "sessions");
    const _ConnectionInformation& connection = *session->Connections;
    unsigned short port = 0;
    std::sscanf(line(input, 79).c_str(), "%hu", &port);
    require_equal(word(input, 255), session->TargetName, "target name");
    require_equal(address(word(input, 79)), bytes(connection.TargetAddress), "target address");
    require_equal(address(word(input, 79)), bytes(connection.InitiatorAddress), "initiator address");
    require_equal(port, connection.TargetPort, "port");
    std::free(session->Connections);
    std::free(session);

    _DiskInformation* disk = nullptr;
    require_equal(0, _QueryDiskList("1", &disk, &count), "disks");
    const std::string text = word(input, 1024).substr(0, 31);
    require_equal(text, disk->Vendor, "vendor");
    require_equal(text, disk->Model, "model");
    require_equal(std::to_string(std::strtoull(text.c_str(), nullptr, 10) << 9), disk->Size, "size");
    std::free(disk);
}
