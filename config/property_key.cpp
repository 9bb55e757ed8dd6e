#include "config/property_key.h"

namespace opinit {

using namespace iscsi_property;

bool contains_closed(std::string_view text, std::string_view part) {
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
        const std::string_view behind = text.substr(at + part.size(), key_end.size());
        if (key_end.starts_with(behind)) return true;
    }
    return false;
}

bool key_names_row(std::string_view key, const _iSCSI_PropertyInfo& row) {
    if ((row.flags & open_iscsi_initiator) == 0 || row.name == nullptr) return false;
    // The key of this one row ends with the name of another, which comes earlier.
    constexpr std::uint32_t own_row = discovery_max_recv_data_segment_length;
    const bool kept_for_own_row = key.find(iSCSI_PropertyTable[own_row].name) != std::string_view::npos;
    if (kept_for_own_row && row.id != own_row) return false;
    return contains_closed(key, row.name);
}

std::string full_key(const _iSCSI_PropertyInfo& row) {
    return std::string{key_prefix(row.key_class)} + row.name;
}

}  // namespace opinit
