#include "sessions/session_table.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/base/address.h"
#include "core/base/directory.h"
#include "sessions/attribute.h"
#include "sessions/connection_target.h"
#include "sessions/find_session.h"
#include "sessions/scsi_host.h"
#include "sessions/session_class.h"

namespace opinit {

SessionTable::SessionTable() {
    const Listing entries{session_class, skip_dot_entries};
    listed_ = entries.complete() || entries.error() == ENOENT;
    sessions_.reserve(entries.size());
    for (const std::string_view entry : entries) {
        const Attribute target_name{session_path(entry, "/targetname").c_str(), target_name_size};
        if (!target_name.opened() || target_name.unreadable()) listed_ = listed_ && target_name.missing();
        const std::optional<std::uint8_t> number = session_number(entry);
        if (!target_name.opened() || !number) continue;
        sessions_.push_back({std::string{target_name.word()}, *number});
        destinations_.resize(std::max<std::size_t>(destinations_.size(), *number + std::size_t{1}));
    }
    std::stable_sort(sessions_.begin(), sessions_.end(), [](const Session& left, const Session& right) {
        return left.target_name < right.target_name;
    });
}

/// A connection whose initiator's address cannot be opened has no record. What the address is does not matter
/// here, nor which host it belongs to.
SessionTable::Destination SessionTable::read_destination(std::uint8_t session) {
    _ConnectionInformation connection{};
    const ConnectionTarget target = read_connection_target(session, connection);
    const AddressText address{connection.TargetAddress};
    Destination destination{target.opened, target.certain, std::string{address.c_str()},
                            connection.TargetPort};
    if (!target.opened) return destination;
    const std::optional<int> host = find_session_host(session);
    if (!host || ::access(initiator_address_path(*host).c_str(), R_OK) == 0) return destination;
    destination.counts = false;
    destination.certain = errno == ENOENT || errno == ENOTDIR;
    return destination;
}

const SessionTable::Destination& SessionTable::destination_of(std::uint8_t session) {
    std::optional<Destination>& destination = destinations_[session];
    if (!destination) destination = read_destination(session);
    return *destination;
}

int SessionTable::find(std::string_view address, std::uint16_t port, std::string_view target_name) {
    const auto serves_earlier_target = [](const Session& session, std::string_view wanted) {
        return session.target_name < wanted;
    };
    auto session = std::lower_bound(sessions_.begin(), sessions_.end(), target_name, serves_earlier_target);
    for (; session != sessions_.end() && session->target_name == target_name; ++session) {
        const Destination& destination = destination_of(session->number);
        if (destination.counts && destination.address == address && destination.port == port)
            return session->number;
    }
    return -1;
}

bool SessionTable::complete() {
    return listed_ && std::all_of(sessions_.begin(), sessions_.end(), [this](const Session& session) {
               return destination_of(session.number).certain;
           });
}

}  // namespace opinit
