#include "sessions/session_table.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ranges>

#include "core/base/address.h"
#include "core/base/directory.h"
#include "sessions/attribute.h"
#include "sessions/connection_target.h"
#include "sessions/find_session.h"
#include "sessions/scsi_host.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

/// The kernel writes all zeros of an address, and discovery what the portal wrote, perhaps in brackets.
std::string short_ipv6(std::string_view text) {
    if (text.starts_with('[') && text.ends_with(']')) text = text.substr(1, text.size() - 2);
    const std::string plain{text};
    in6_addr address;
    std::array<char, INET6_ADDRSTRLEN> shortened;
    if (::inet_pton(AF_INET6, plain.c_str(), &address) != 1) return plain;
    return ::inet_ntop(AF_INET6, &address, shortened.data(), shortened.size());
}

}  // namespace

SessionTable::SessionTable() {
    const Listing entries{session_class, skip_dot_entries};
    listed_ = entries.complete() || nothing_there(entries.error());
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
    const std::string address = target.ipv6_address.empty() ? AddressText{connection.TargetAddress}.c_str()
                                                            : short_ipv6(target.ipv6_address);
    Destination destination{target.opened, target.certain, address, connection.TargetPort};
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

std::span<const SessionTable::Session> SessionTable::sessions_to(std::string_view target_name) const {
    const auto begin = std::lower_bound(
        sessions_.begin(), sessions_.end(), target_name,
        [](const Session& session, std::string_view wanted) { return session.target_name < wanted; });
    const auto end = std::find_if(begin, sessions_.end(),
                                  [&](const Session& session) { return session.target_name != target_name; });
    return {begin, end};
}

int SessionTable::find(std::string_view address, std::uint16_t port, std::string_view target_name) {
    const bool is_ipv6 = address.find(':') != std::string_view::npos;
    const std::string shortened = is_ipv6 ? short_ipv6(address) : std::string{};
    for (const Session& session : sessions_to(target_name)) {
        const Destination& destination = destination_of(session.number);
        if (destination.counts && destination.address == (is_ipv6 ? shortened : address) &&
            destination.port == port)
            return session.number;
    }
    return -1;
}

bool SessionTable::knows_all_to(std::string_view target_name) {
    const std::span<const Session> sessions = sessions_to(target_name);
    return listed_ && std::all_of(sessions.begin(), sessions.end(), [this](const Session& session) {
               return destination_of(session.number).certain;
           });
}

}  // namespace opinit
