#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>

namespace simhost {

struct Setting {
    const char* key;
    const char* value;  // null: not written until it is set
};

// The settings of a node record and of a discovery record, in the order of their lines.
extern const std::span<const Setting> node_settings;
extern const std::span<const Setting> discovery_settings;

using Values = std::map<std::string, std::string, std::less<>>;

bool is_setting(std::span<const Setting> table, std::string_view key);

// The table's own values, with those from iscsid.conf over them.
Values default_values(std::span<const Setting> table);

std::string record_text(std::span<const Setting> table, const Values& values);
Values parse_record(std::string_view text);

// Empty where the record does not hold the key.
std::string value_of(const Values& values, std::string_view key);

// The name in /etc/iscsi/initiatorname.iscsi; empty where there is none.
std::string configured_initiator_name();

}  // namespace simhost
