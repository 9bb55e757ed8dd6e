#include "host/config_changes.h"

#include <algorithm>
#include <optional>

#include "commands/secret.h"
#include "host/host_files.h"
#include "host/property_keys.h"
#include "kvlinopinitr/iscsi_properties.h"

namespace opinitctl {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* settings_file = "/etc/iscsi/iscsid.conf";
constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";

struct Assignment {
    std::string key;
    std::string value;
};

// "KEY = VALUE" in the one file, "KEY=VALUE" in the other.
std::optional<Assignment> assignment_in(const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals == line.npos || line.starts_with('#')) return std::nullopt;
    Assignment assignment = {line.substr(0, equals), line.substr(equals + 1)};
    if (assignment.key.ends_with(' ')) assignment.key.pop_back();
    if (assignment.value.starts_with(' ')) assignment.value.erase(0, 1);
    return assignment;
}

std::optional<Assignment> assignment_of(std::uint32_t id, const std::string& line) {
    auto assignment = assignment_in(line);
    return assignment && is_key_of(id, assignment->key) ? assignment : std::nullopt;
}

Value old_value(std::uint32_t id, const Lines& before, std::size_t line) {
    const auto assignment = line < before.size() ? assignment_of(id, before[line]) : std::nullopt;
    return assignment ? Value(shown_value(id, assignment->value)) : Value();
}

void add_changes(std::vector<Change>& changes, const char* file, const Lines& before, const Lines& after,
                 std::uint32_t id) {
    for (std::size_t line = 0; line < after.size(); ++line) {
        const auto assignment = assignment_of(id, after[line]);
        if (!assignment) continue;
        const bool is_new = line >= before.size();
        const char* const what = is_new ? "appended" : before[line] == after[line] ? "unchanged" : "replaced";
        changes.push_back({file, line + 1, what, id, full_key(id), old_value(id, before, line),
                           shown_value(id, assignment->value)});
    }
}

bool stands_in(const Lines& lines, const _iSCSI_Property& property) {
    bool found = false;
    for (const std::string& line : lines) {
        const auto assignment = assignment_of(property.id, line);
        if (!assignment) continue;
        if (assignment->value != field_text(property.value)) return false;
        found = true;
    }
    return found;
}

std::string shown_line(const std::string& line) {
    const auto assignment = assignment_in(line);
    for (const std::uint32_t id : {iscsi_property::password, iscsi_property::password_in}) {
        if (assignment && is_key_of(id, assignment->key)) return assignment->key + " = " + stars;
    }
    return line;
}

// Where a hunk begins and how long it is; a hunk of no lines stands behind the line before it.
std::string range(std::size_t begin, std::size_t end, std::size_t size) {
    const std::size_t last = std::min(end, size);
    const std::size_t count = last > begin ? last - begin : 0;
    return std::to_string(count == 0 ? std::min(begin, size) : begin + 1) + ',' + std::to_string(count);
}

std::string marked(char mark, const Lines& lines, std::size_t begin, std::size_t end) {
    std::string text;
    for (std::size_t line = begin; line < std::min(end, lines.size()); ++line) {
        text += mark + shown_line(lines[line]) + '\n';
    }
    return text;
}

// Lines are replaced in place or appended, never moved.
std::string difference(const char* file, const Lines& before, const Lines& after) {
    const std::size_t size = std::max(before.size(), after.size());
    const auto differs = [&](std::size_t line) {
        return line >= before.size() || line >= after.size() || before[line] != after[line];
    };
    std::string text;
    for (std::size_t begin = 0, end = 0; begin < size; begin = end) {
        end = begin + 1;
        if (!differs(begin)) continue;
        while (end < size && differs(end)) ++end;
        if (text.empty()) text = std::string("--- ") + file + "\n+++ " + file + '\n';
        text += "@@ -" + range(begin, end, before.size()) + " +" + range(begin, end, after.size()) + " @@\n" +
                marked('-', before, begin, end) + marked('+', after, begin, end);
    }
    return text;
}

}  // namespace

SettingsFiles SettingsFiles::read() {
    return {lines_in(settings_file), lines_in(name_file)};
}

const Columns<Change>& change_columns() {
    static const Columns<Change> columns = {
        {"change", [](const Change& change) -> Value { return change.what; }},
        {"line", [](const Change& change) -> Value { return change.line; }},
        {"id", [](const Change& change) -> Value { return change.id; }},
        {"key", [](const Change& change) -> Value { return change.key; }},
        {"old_value", [](const Change& change) { return change.old_value; }, Look::text, Shown::on_request},
        {"value", [](const Change& change) { return change.value; }, Look::text},
        {"file", [](const Change& change) -> Value { return change.file; }},
    };
    return columns;
}

std::vector<Change> changes_between(const SettingsFiles& before, const SettingsFiles& after,
                                    const Properties& properties) {
    std::vector<Change> changes;
    for (std::size_t i = 0; i + 1 < properties.size(); ++i) {
        const std::uint32_t id = properties[i].id;
        if (id == iscsi_property::initiator_name) {
            add_changes(changes, name_file, before.name, after.name, id);
        }
        add_changes(changes, settings_file, before.settings, after.settings, id);
    }
    return changes;
}

Names missing_from(const SettingsFiles& files, const Properties& properties) {
    Names missing;
    for (std::size_t i = 0; i + 1 < properties.size(); ++i) {
        const bool is_name = properties[i].id == iscsi_property::initiator_name;
        if (!stands_in(is_name ? files.name : files.settings, properties[i])) {
            missing.push_back(full_key(properties[i].id));
        }
    }
    return missing;
}

std::string difference(const SettingsFiles& before, const SettingsFiles& after) {
    return difference(name_file, before.name, after.name) +
           difference(settings_file, before.settings, after.settings);
}

std::string shown_value(std::uint32_t id, const std::string& value) {
    return is_secret(id) ? stars : value;
}

}  // namespace opinitctl
