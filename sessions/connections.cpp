// The first connection of a session.
#include <optional>

#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/connection_target.h"
#include "sessions/scsi_host.h"

namespace opinit {
namespace {

constexpr int complete = 0;
constexpr int file_missing = 1;
constexpr int host_unknown = -1;

int fill_connection(int session, _ConnectionInformation& connection) {
    if (!read_connection_target(session, connection).opened) return file_missing;
    const std::optional<int> host = get_session_host(session);
    if (!host) return host_unknown;
    const Attribute address{initiator_address_path(*host).c_str(), connection_attribute_limit};
    if (!address.opened()) return file_missing;
    take_address(address.word(), connection.InitiatorAddress);
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
