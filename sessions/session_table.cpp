#include "sessions/session_table.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <tuple>

#include "core/base/address.h"
#include "core/base/directory.h"
#include "sessions/attribute.h"
#include "sessions/connection_target.h"
#include "sessions/find_session.h"
#include "sessions/scsi_host.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

/// Where a session goes, as far as a look at the target list wants it.
struct Destination {
    bool counts;   ///< whether the session has a connection record
    bool certain;  ///< whether that is so for sure
    _ConnectionInformation connection;
};

/// A connection whose initiator's address cannot be opened has no record. What the address is does not matter
/// here, nor which host it belongs to.
Destination read_destination(int session) {
    Destination destination{};
    const ConnectionTarget target = read_connection_target(session, destination.connection);
    destination.counts = target.opened;
    destination.certain = target.certain;
    if (!target.opened) return destination;
    const std::optional<int> host = find_session_host(session);
    if (!host || ::access(initiator_address_path(*host).c_str(), R_OK) == 0) return destination;
    destination.counts = false;
    destination.certain = errno == ENOENT || errno == ENOTDIR;
    return destination;
}

/// Sessions 256 apart share a number, and with it the files of their connection, which are read once.
class Destinations {
public:
    const Destination& of(std::uint8_t session) {
        if (!known_[session]) {
            known_[session] = true;
            destinations_.resize(std::max<std::size_t>(destinations_.size(), session + std::size_t{1}));
            destinations_[session] = read_destination(session);
        }
        return destinations_[session];
    }

private:
    std::array<bool, 256> known_{};
    std::vector<Destination> destinations_;
};

}  // namespace

SessionTable SessionTable::read() {
    SessionTable table;
    const Listing entries{session_class, skip_dot_entries};
    table.complete_ = entries.complete() || entries.error() == ENOENT;
    table.sessions_.reserve(entries.size());
    Destinations destinations;
    for (const std::string_view entry : entries) {
        const Attribute target_name{session_path(entry, "/targetname").c_str(), target_name_size};
        int number;
        if (!target_name.opened() || target_name.unreadable()) {
            table.complete_ = table.complete_ && target_name.missing();
        }
        if (!target_name.opened() || std::sscanf(entry.data(), "session%d", &number) != 1) continue;
        const auto low_byte = static_cast<std::uint8_t>(number);
        const Destination& destination = destinations.of(low_byte);
        table.complete_ = table.complete_ && destination.certain;
        if (!destination.counts) continue;
        const AddressText address{destination.connection.TargetAddress};
        table.sessions_.push_back(
            {std::string{target_name.word()}, address.c_str(), destination.connection.TargetPort, low_byte});
    }
    std::stable_sort(table.sessions_.begin(), table.sessions_.end(), [](const auto& left, const auto& right) {
        return std::tie(left.target_name, left.address, left.port) <
               std::tie(right.target_name, right.address, right.port);
    });
    return table;
}

int SessionTable::find(std::string_view address, std::uint16_t port, std::string_view target_name) const {
    const auto wanted = std::tie(target_name, address, port);
    const auto key = [](const Session& session) {
        return std::tuple<std::string_view, std::string_view, std::uint16_t>{session.target_name,
                                                                             session.address, session.port};
    };
    const auto found =
        std::lower_bound(sessions_.begin(), sessions_.end(), wanted,
                         [&key](const Session& session, const auto& other) { return key(session) < other; });
    return found != sessions_.end() && key(*found) == wanted ? int{found->number} : -1;
}

}  // namespace opinit
