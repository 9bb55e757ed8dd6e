#include "sessions/session_table.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/base/directory.h"
#include "sessions/attribute.h"
#include "sessions/connection_target.h"
#include "sessions/scsi_host.h"
#include "sessions/session_class.h"

namespace opinit {

SessionTable::SessionTable() {
    const Listing entries{session_class, skip_dot_entries};
    listed_ = entries.complete() || nothing_there(entries.error());
    for (const std::string_view entry : entries) {
        const Attribute target_name{session_path(entry, "/targetname").c_str(), target_name_size};
        if (!target_name.opened() || target_name.unreadable()) listed_ = listed_ && target_name.missing();
        const std::optional<std::uint8_t> number = session_number(entry);
        if (!target_name.opened() || !number) continue;
        sessions_.emplace(target_name.word(), *number);
        destinations_.resize(std::max<std::size_t>(destinations_.size(), *number + std::size_t{1}));
    }
}

/// A connection whose initiator's address cannot be opened has no record. What the address is does not matter
/// here, nor which host it belongs to.
SessionTable::Destination SessionTable::read_destination(std::uint8_t session) {
    _ConnectionInformation connection{};
    const ConnectionTarget target = read_connection_target(session, connection);
    Destination destination{target.opened, target.certain, target.address, connection.TargetPort};
    if (!target.opened) return destination;
    const std::optional<int> host = get_session_host(session);
    if (!host || ::access(initiator_address_path(*host).c_str(), R_OK) == 0) return destination;
    destination.counts = false;
    destination.certain = nothing_there(errno);
    return destination;
}

const SessionTable::Destination& SessionTable::destination_of(std::uint8_t session) {
    std::optional<Destination>& destination = destinations_[session];
    if (!destination) destination = read_destination(session);
    return *destination;
}

int SessionTable::find(std::string_view address, std::uint16_t port, std::string_view target_name) {
    const std::string wanted = comparable_address(address);
    const auto [begin, end] = sessions_.equal_range(target_name);
    for (auto session = begin; session != end; ++session) {
        const Destination& destination = destination_of(session->second);
        if (destination.counts && destination.address == wanted && destination.port == port)
            return session->second;
    }
    return -1;
}

bool SessionTable::knows_all_to(std::string_view target_name) {
    const auto [begin, end] = sessions_.equal_range(target_name);
    return listed_ && std::all_of(begin, end, [this](const auto& session) {
               return destination_of(session.second).certain;
           });
}

}  // namespace opinit
