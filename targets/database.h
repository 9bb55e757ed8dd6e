// open-iscsi's databases: what discovery recorded of each portal, and the node records.
//
// Either stands under /var/lib/iscsi or /etc/iscsi, and every lookup tries both anew.
#pragma once

#include <cstdint>
#include <string_view>

#include "targets/target_receiver.h"

namespace opinit {

/// In the order in which they are tried.
inline constexpr const char* discovery_databases[] = {"/var/lib/iscsi/send_targets/",
                                                      "/etc/iscsi/send_targets/"};

/// What the readers answer beside 0 and 179.
namespace database_status {
inline constexpr unsigned int out_of_memory = 2;         ///< what was filled before stays
inline constexpr unsigned int empty = 0xFFFFFFFE;        ///< the portal directory has no entry but st_config
inline constexpr unsigned int cannot_list = 0xFFFFFFFF;  ///< the portal directory is there but unreadable
}  // namespace database_status

/// Selector of listings: every entry but ".", ".." and "st_config".
bool _st_entry_filter(std::string_view name);

/// Hands over the targets of a portal directory in one database. `entries` is the length of the directory's
/// listing. 0, also when there is no such directory; 2; -1; -2.
unsigned int _read_st_portal_dir(const char* database, std::string_view portal_dir, TargetReceiver& targets,
                                 std::size_t& entries);

/// The same from the first database that has the directory. 0; 2; 179 when neither has it, or only the second
/// one has and it cannot be listed or is empty; -1 and -2 of the first one.
unsigned int _read_send_targets(std::string_view portal_dir, TargetReceiver& targets);

/// 1 when the node record says that it starts automatically, else 0.
std::uint8_t _read_node_startup(std::string_view target_name, const ProbedPortal& portal);

}  // namespace opinit
