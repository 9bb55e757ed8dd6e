#include "host/config_changes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "errors.h"
#include "host/property_keys.h"
#include "kvlinopinitr/iscsi_properties.h"

namespace opinitctl {
namespace {

using Kind = Change::Kind;
using Content = std::vector<char, WipingAllocator<char>>;

constexpr const char* settings_file = "/etc/iscsi/iscsid.conf";
constexpr std::string_view separators = " =";

Failure cannot_open(const std::string& path, int error) {
    return Failure("cannot open " + path + ": " + std::strerror(error) +
                   (error == EACCES ? "; run it as root" : ""));
}

Content content_of(const std::string& path) {
    constexpr std::size_t piece = 65536;
    Content content;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    ssize_t length = file < 0 ? -1 : 1;
    while (length > 0) {
        const std::size_t end = content.size();
        content.resize(end + piece);
        length = read(file, content.data() + end, piece);
        content.resize(end + static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    }
    const int error = errno;
    if (file >= 0) close(file);
    // The library creates the one file, and tells that the other is missing.
    if (length == 0 || error == ENOENT) return content;
    throw cannot_open(path, error);
}

std::string_view without_separators(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(separators), text.size()));
}

std::string_view key_in(std::string_view line) {
    const std::string_view text = without_separators(line);
    return text.substr(0, text.find_first_of(separators));
}

/// The lines of the file that are the property's; where there is none, one that is to be appended.
void add_changes(std::vector<Change>& changes, std::string_view file, const _iSCSI_Property& property,
                 bool is_appended) {
    const std::string_view value(property.value, strnlen(property.value, sizeof property.value));
    const Content content = content_of(std::string(file));
    std::string_view rest(content.data(), content.size());
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const std::string_view key = key_in(line);
        if (!is_key_of(property.id, key)) continue;
        const std::string_view old =
            without_separators(line.substr(static_cast<std::size_t>(key.end() - line.begin())));
        changes.push_back({file, number, old == without_separators(value) ? Kind::unchanged : Kind::replaced,
                           property.id, std::string(key), shown_value(property.id, old),
                           shown_value(property.id, value)});
        is_appended = false;
        // The first name there counts, and the file is replaced as a whole.
        if (file == initiator_name_file) break;
    }
    if (is_appended) {
        changes.push_back({file, 0, Kind::appended, property.id, full_key(property.id), std::nullopt,
                           shown_value(property.id, value)});
    }
}

}  // namespace

const Columns<Change>& change_columns() {
    static constexpr const char* words[] = {"replaced", "appended", "unchanged"};
    static const Columns<Change> columns = {
        {"change", [](const Change& change) -> Value { return words[static_cast<int>(change.kind)]; }},
        {"line", [](const Change& change) { return change.line == 0 ? Value() : Value(change.line); }},
        {"id", [](const Change& change) -> Value { return change.id; }},
        {"key", [](const Change& change) -> Value { return change.key; }},
        {"old_value",
         [](const Change& change) { return change.old_value ? Value(*change.old_value) : Value(); },
         Look::text, Shown::on_request},
        {"value", [](const Change& change) -> Value { return change.value; }, Look::text},
        {"file", [](const Change& change) -> Value { return std::string(change.file); }},
    };
    return columns;
}

void require_open_settings() {
    if (access(settings_file, R_OK | W_OK) != 0) throw cannot_open(settings_file, errno);
}

std::vector<Change> changes_for(const Properties& properties) {
    std::vector<Change> changes;
    for (std::size_t i = 0; i + 1 < properties.size(); ++i) {
        const bool is_name = properties[i].id == iscsi_property::initiator_name;
        if (is_name) add_changes(changes, initiator_name_file, properties[i], true);
        add_changes(changes, settings_file, properties[i], !is_name);
    }
    return changes;
}

}  // namespace opinitctl
