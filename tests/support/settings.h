// The initiator's settings, asked for and set as an agent does.
#pragma once

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace settings {

inline const std::string conf = "/etc/iscsi/iscsid.conf";
inline const std::string name_file = "/etc/iscsi/initiatorname.iscsi";

using Property = std::pair<unsigned int, std::string>;

inline std::string full_key(std::size_t id) {
    return iscsi_property::key_prefix(iSCSI_PropertyTable[id].key_class) +
           std::string{iSCSI_PropertyTable[id].name};
}

inline int set(const std::vector<Property>& request) {
    std::vector<_iSCSI_Property> list;
    for (const auto& [id, value] : request) value.copy(list.emplace_back(_iSCSI_Property{id, {}}).value, 256);
    list.push_back({iscsi_property::end_of_list, {}});
    return _SetProperty(1, list.data());
}

/// Result and count of the node list, then the settings as " ID=VALUE".
inline std::string read(int mode = 2) {
    void* list = nullptr;
    unsigned int count = 0;
    const int result = _GetInitiatorNodeList(&list, &count, mode);
    std::string text = std::to_string(result) + " " + std::to_string(count);
    if (list == nullptr) return text;
    const _InitiatorNode& node = *static_cast<_InitiatorNode*>(list);
    if (mode == 1) text += std::string{" "} + node.node_name;
    for (const _iSCSI_Property* entry = node.properties; mode != 1 && entry->id != 78; ++entry) {
        text += " " + std::to_string(entry->id) + "=" + entry->value;
    }
    std::free(list);
    return text;
}

}  // namespace settings
