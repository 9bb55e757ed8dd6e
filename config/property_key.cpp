#include "config/property_key.h"

namespace opinit {

using namespace iscsi_property;

bool contains_closed(std::string_view text, std::string_view part) {
    if (text.ends_with(part)) return true;
    for (std::size_t at = text.find('#'); at != std::string_view::npos; at = text.find('#', at + 1)) {
        if (text.substr(0, at).ends_with(part) && key_end.starts_with(text.substr(at, key_end.size())))
            return true;
    }
    return false;
}

bool key_names_row(std::string_view key, const _iSCSI_PropertyInfo& row) {
    if ((row.flags & open_iscsi_initiator) == 0 || row.name == nullptr) return false;
    if (!contains_closed(key, row.name)) return false;
    // The key of this one row ends with the name of another, which comes earlier.
    constexpr std::uint32_t own_row = discovery_max_recv_data_segment_length;
    return row.id == own_row || key.find(iSCSI_PropertyTable[own_row].name) == std::string_view::npos;
}

std::string full_key(const _iSCSI_PropertyInfo& row) {
    return std::string{key_prefix(row.key_class)} + row.name;
}

}  // namespace opinit
