// What a change of settings does to the files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kvlinopinitr/iscsi_records.h"
#include "shown/names.h"
#include "shown/output.h"

namespace opinitctl {

using Properties = std::vector<_iSCSI_Property>;

/// The two files in which settings stand, line by line.
struct SettingsFiles {
    std::vector<std::string> settings;
    std::vector<std::string> name;

    static SettingsFiles read();
};

/// A line that a property asks for.
struct Change {
    const char* file;
    std::size_t line;
    const char* what;  ///< replaced, appended, unchanged
    std::uint32_t id;
    std::string key;
    Value old_value;
    Value value;
};

const Columns<Change>& change_columns();

/// What became of the lines that the properties, a closed list, ask for. A property without any line there is
/// left out.
std::vector<Change> changes_between(const SettingsFiles& before, const SettingsFiles& after,
                                    const Properties& properties);

/// The properties whose value does not stand in the files, or not wherever their key does.
Names missing_from(const SettingsFiles& files, const Properties& properties);

/// The difference as patch(1) takes it, with stars for secrets.
std::string difference(const SettingsFiles& before, const SettingsFiles& after);

/// The value, or stars where it is a secret.
std::string shown_value(std::uint32_t id, const std::string& value);

}  // namespace opinitctl
