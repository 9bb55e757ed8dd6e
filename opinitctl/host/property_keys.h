// Settings: how the command line names them, the keys of iscsid.conf, and the values that open-iscsi takes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace opinitctl {

/// The key under which the setting is written.
std::string full_key(std::uint32_t id);

/// Id of the setting that `name` names: a full key, the tail of exactly one, or the id itself.
std::uint32_t property_id(const std::string& name);

bool is_secret(std::uint32_t id);

/// The value, or stars where it is a secret.
std::string shown_value(std::uint32_t id, std::string_view value);

/// A key that iscsid.conf may use for the setting: its full key, or a tail of it that holds the name.
bool is_key_of(std::uint32_t id, std::string_view key);

/// Why open-iscsi would not take the value; empty where nothing is known against it.
std::string objection(std::uint32_t id, const std::string& value);

}  // namespace opinitctl
