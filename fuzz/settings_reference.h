// Reading and writing iscsid.conf once more: step by step, with plain texts, without the library's code.
#pragma once

#include <cstdint>
#include <string>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/iscsi_properties.h"

namespace reference {

inline constexpr const char* conf = "/etc/iscsi/iscsid.conf";

struct Property {
    std::uint32_t id;
    std::string value;
    bool written = false;
};

inline bool settable(std::uint32_t id) {
    return (iSCSI_PropertyTable[id].flags & 1) != 0;
}

/// Whether a line's key selects a property.
inline bool means(const std::string& key, std::uint32_t id) {
    if (fuzz::contains(key, "discovery.sendtargets.iscsi.MaxRecvDataSegmentLength") && id != 32) return false;
    return fuzz::contains(key + "##", std::string{iSCSI_PropertyTable[id].name} + "##");
}

}  // namespace reference
