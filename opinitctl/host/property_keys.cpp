#include "host/property_keys.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "errors.h"
#include "host/host_files.h"
#include "kvlinopinitr/iscsi_properties.h"

namespace opinitctl {
namespace {

std::vector<std::uint32_t> ids_with_tail(const std::string& tail) {
    std::vector<std::uint32_t> ids;
    for (const _iSCSI_PropertyInfo& row : iSCSI_PropertyTable) {
        const std::string key = full_key(row.id);
        if ((row.flags & iscsi_property::open_iscsi_initiator) == 0 || key.empty()) continue;
        if (key == tail) return {row.id};
        if (key.ends_with('.' + tail)) ids.push_back(row.id);
    }
    return ids;
}

}  // namespace

std::string full_key(std::uint32_t id) {
    if (id >= std::size(iSCSI_PropertyTable) || iSCSI_PropertyTable[id].name == nullptr) return "";
    const _iSCSI_PropertyInfo& row = iSCSI_PropertyTable[id];
    return std::string(iscsi_property::key_prefix(row.key_class)) + row.name;
}

std::uint32_t property_id(const std::string& name) {
    if (const auto id = number_in(name))
        return *id == iscsi_property::target_auth_method ? iscsi_property::auth_method : *id;
    const std::vector<std::uint32_t> ids = ids_with_tail(name);
    if (ids.size() == 1) return ids.front();
    if (ids.empty()) throw UsageError("there is no setting \"" + name + "\"");
    std::string candidates;
    for (const std::uint32_t id : ids) candidates += (candidates.empty() ? "" : " or ") + full_key(id);
    throw UsageError("\"" + name + "\" may be " + candidates);
}

bool is_secret(std::uint32_t id) {
    return id == iscsi_property::password || id == iscsi_property::password_in;
}

bool is_key_of(std::uint32_t id, const std::string& key) {
    const std::string full = full_key(id);
    return !full.empty() && full.ends_with(key) && key.ends_with(iSCSI_PropertyTable[id].name);
}

}  // namespace opinitctl
