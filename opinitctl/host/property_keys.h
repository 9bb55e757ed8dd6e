// Settings by key: how the command line names them and how they are shown.
#pragma once

#include <cstdint>
#include <string>

namespace opinitctl {

/// The key of iscsid.conf; empty for an id without one.
std::string full_key(std::uint32_t id);

/// Id of the setting that `name` names: a full key, the tail of exactly one, or the id itself.
std::uint32_t property_id(const std::string& name);

bool is_secret(std::uint32_t id);

/// A key that iscsid.conf may use for the setting: its full key, or a tail of it that holds the name.
bool is_key_of(std::uint32_t id, const std::string& key);

}  // namespace opinitctl
