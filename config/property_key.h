// The keys of iscsid.conf and the rows of the property table.
#pragma once

#include <string>
#include <string_view>

#include "kvlinopinitr/iscsi_properties.h"

namespace opinit {

/// What closes a key where keys and names are compared.
inline constexpr std::string_view key_end = "##";

/// Whether `text` followed by "##" contains `part` followed by "##": for texts without '#', whether `text`
/// ends with `part`.
bool contains_closed(std::string_view text, std::string_view part);

/// Whether a key of iscsid.conf means this row's setting. The first row in the order asked wins.
bool key_names_row(std::string_view key, const _iSCSI_PropertyInfo& row);

/// Under which key the setting of a named row is written.
std::string full_key(const _iSCSI_PropertyInfo& row);

}  // namespace opinit
