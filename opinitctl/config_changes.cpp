#include "config_changes.h"

#include <fstream>

#include "kvlinopinitr/iscsi_properties.h"
#include "property_keys.h"
#include "secret.h"

namespace opinitctl {
namespace {

constexpr const char* settings_file = "/etc/iscsi/iscsid.conf";
constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";

std::vector<std::string> read_lines(const char* path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// A line as it is written: its own key, which may be shorter than the full one, and the value.
bool holds(const std::string& line, const Change& wanted) {
    const std::size_t equals = line.find(" = ");
    return equals != line.npos && line.compare(equals + 3, line.npos, wanted.value) == 0 &&
           is_key_of(wanted.id, line.substr(0, equals));
}

}  // namespace

const Columns<Change>& change_columns() {
    static const Columns<Change> columns = {
        {"change", [](const Change& change) -> Json { return change.what; }},
        {"line", [](const Change& change) -> Json { return change.line; }},
        {"id", [](const Change& change) -> Json { return change.id; }},
        {"key", [](const Change& change) -> Json { return full_key(change.id); }},
        {"value", [](const Change& change) { return shown_value(change.id, change.value); }},
        {"file", [](const Change& change) -> Json { return change.file; }},
    };
    return columns;
}

std::size_t count_settings_lines() {
    return read_lines(settings_file).size();
}

std::vector<Change> find_changes(const std::vector<_iSCSI_Property>& properties, std::size_t lines_before) {
    const std::vector<std::string> lines = read_lines(settings_file);
    std::vector<Change> changes;
    for (std::size_t i = 0; i + 1 < properties.size(); ++i) {
        Change change = {settings_file, 1, "replaced", properties[i].id, field_text(properties[i].value)};
        if (change.id == iscsi_property::initiator_name) {
            changes.push_back(change);
            changes.back().file = name_file;
        }
        for (std::size_t line = 0; line < lines.size(); ++line) {
            if (!holds(lines[line], change)) continue;
            change.line = line + 1;
            change.what = line < lines_before ? "replaced" : "appended";
            changes.push_back(change);
        }
    }
    return changes;
}

Json shown_value(std::uint32_t id, const std::string& value) {
    return is_secret(id) ? Json(stars) : Json(value);
}

}  // namespace opinitctl
