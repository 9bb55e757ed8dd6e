#include "config/request.h"

#include <algorithm>

#include "config/initiator_name.h"
#include "config/property_key.h"
#include "core/base/text.h"

namespace opinit {

using namespace iscsi_property;

namespace {

constexpr std::size_t most_properties = 34;

bool ends_list(const _iSCSI_Property& entry) {
    return entry.id == end_of_list && entry.value[0] == '\0';
}

}  // namespace

int Request::accept(_iSCSI_Property* properties) {
    for (_iSCSI_Property* entry = properties; !ends_list(*entry); ++entry) {
        if (const int refusal = accept_one(*entry)) return refusal;
    }
    return 0;
}

int Request::accept_one(_iSCSI_Property& entry) {
    if (entry.id == target_auth_method) entry.id = auth_method;
    if (entry.id == 0 || entry.id >= end_of_list) return unsupported_property;
    const _iSCSI_PropertyInfo& row = iSCSI_PropertyTable[entry.id];
    const std::string_view value = field_text(entry.value);
    if (row.id == initiator_name) {
        if (const int failure = write_initiator_name(value)) return failure;
    }
    std::string key = full_key(row);
    if (std::any_of(accepted_.begin(), accepted_.end(),
                    [&key](const auto& other) { return other.key == key; })) {
        return repeated_property;
    }
    if ((row.flags & open_iscsi_initiator) == 0) return unsupported_property;
    keys_.append(key_end).append(key);
    accepted_.push_back({&row, std::move(key), value});
    return accepted_.size() > most_properties ? too_many_properties : 0;
}

const AcceptedProperty* Request::find(std::string_view key) const {
    if (key.empty() || !contains_closed(keys_, key)) return nullptr;
    const auto found = std::find_if(accepted_.begin(), accepted_.end(), [key](const auto& property) {
        return key_names_row(key, *property.row);
    });
    return found != accepted_.end() ? &*found : nullptr;
}

}  // namespace opinit
