#include "host/property_keys.h"

#include <algorithm>
#include <map>

#include "errors.h"
#include "host/host_files.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "shown/names.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

using namespace iscsi_property;

const Names digests = {"None", "CRC32C", "CRC32C,None", "None,CRC32C"};
const Names truths = {"Yes", "No"};
const std::map<std::uint32_t, Names> accepted_values = {
    {3, digests},          {5, digests},
    {7, truths},           {8, truths},
    {12, truths},          {13, truths},
    {14, {"0", "1", "2"}}, {15, {"manual", "automatic", "onboot"}},
    {27, truths},          {auth_method, {"None", "CHAP"}},
};

bool is_name(const std::string& value) {
    return value.size() > 4 &&
           (value.starts_with("iqn.") || value.starts_with("eui.") || value.starts_with("naa."));
}

}  // namespace

std::string full_key(std::uint32_t id) {
    const _iSCSI_PropertyInfo& row = iSCSI_PropertyTable[id];
    return key_prefix(row.key_class) + std::string(row.name);
}

std::uint32_t property_id(const std::string& name) {
    const auto number = number_in(name);
    if (number == target_auth_method) return auth_method;
    Names all, meant;
    std::uint32_t id = 0;
    for (const _iSCSI_PropertyInfo& row : iSCSI_PropertyTable) {
        if (row.name == nullptr || (row.flags & open_iscsi_initiator) == 0) continue;
        const std::string key = full_key(row.id);
        if (number == row.id || key == name) return row.id;
        all.push_back(key);
        if (!key.ends_with('.' + name)) continue;
        meant.push_back(key);
        id = row.id;
    }
    if (meant.empty())
        throw UsageError("there is no setting \"" + name + "\"; the settings are " + enumeration(all));
    if (meant.size() > 1) throw UsageError("\"" + name + "\" may be any of " + enumeration(meant));
    return id;
}

bool is_secret(std::uint32_t id) {
    return id == password || id == password_in;
}

std::string shown_value(std::uint32_t id, std::string_view value) {
    return std::string(is_secret(id) ? stars : value);
}

bool is_key_of(std::uint32_t id, std::string_view key) {
    return full_key(id).ends_with(key) && key.ends_with(iSCSI_PropertyTable[id].name);
}

std::string objection(std::uint32_t id, const std::string& value) {
    if (id == initiator_name && !is_name(value)) {
        return "open-iscsi expects a name that begins with iqn., eui. or naa.";
    }
    const auto row = accepted_values.find(id);
    if (row == accepted_values.end() || without({value}, row->second).empty()) return "";
    return "open-iscsi expects one of " + enumeration(row->second);
}

}  // namespace opinitctl
