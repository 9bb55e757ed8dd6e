// The first connection of a session.
#include <cstdio>
#include <memory>
#include <string>

#include "core/base/address.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/scsi_host.h"

namespace opinit {
namespace {

constexpr std::size_t attribute_limit = 80;

constexpr int complete = 0;
constexpr int file_missing = 1;
constexpr int host_unknown = -1;

/// Whether the attribute could be opened; one that holds no address leaves the field zero.
bool read_address(const std::string& path, unsigned char* field) {
    const Attribute attribute{path, attribute_limit};
    parse_ip_address(field, attribute.word());
    return attribute.opened();
}

bool read_port(const std::string& path, _ConnectionInformation& connection) {
    const Attribute attribute{path, attribute_limit};
    unsigned short port = 0;
    if (std::sscanf(attribute.line(), "%hu", &port) == 1) connection.TargetPort = port;
    return attribute.opened();
}

int fill_connection(int session, _ConnectionInformation& connection) {
    const std::string entry = "/sys/class/iscsi_connection/connection" + std::to_string(session) + ":0";
    if (!read_address(entry + "/address", connection.TargetAddress)) return file_missing;
    if (!read_port(entry + "/port", connection)) return file_missing;
    const std::optional<int> host = get_session_host(session);
    if (!host) return host_unknown;
    const std::string host_entry =
        "/sys/class/iscsi_host/host" + std::to_string(static_cast<unsigned int>(*host));
    if (!read_address(host_entry + "/ipaddress", connection.InitiatorAddress)) return file_missing;
    return complete;
}

}  // namespace
}  // namespace opinit

int _QueryConnectionList(const char*, const unsigned char* session, _ConnectionInformation** list) {
    using namespace opinit;
    *list = nullptr;
    return without_exceptions(-1, [&] {
        RecordList<_ConnectionInformation> connections;
        _ConnectionInformation* connection = connections.append();
        if (connection == nullptr) return -1;
        const int result = fill_connection(session[0], *connection);
        if (result != file_missing) *list = connections.release();
        return result;
    });
}
