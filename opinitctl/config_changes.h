// What a change of settings did to the files.
#pragma once

#include <cstddef>
#include <vector>

#include "kvlinopinitr/iscsi_records.h"
#include "output.h"

namespace opinitctl {

/// A line that holds a new value.
struct Change {
    const char* file;
    std::size_t line;
    const char* what;
    std::uint32_t id;
    std::string value;
};

const Columns<Change>& change_columns();

/// Number of lines in iscsid.conf. Taken before a change, it tells the replaced lines from the appended ones.
std::size_t count_settings_lines();

/// Where the properties, a closed list that was just written, stand now.
std::vector<Change> find_changes(const std::vector<_iSCSI_Property>& properties, std::size_t lines_before);

/// The value, or stars where it is a secret.
Json shown_value(std::uint32_t id, const std::string& value);

}  // namespace opinitctl
