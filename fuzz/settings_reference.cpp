#include "fuzz/settings_reference.h"

#include <algorithm>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/iscsi_properties.h"

namespace reference {
namespace {

using fuzz::contains;

constexpr const char* prefixes[] = {
    "", "node.session.", "node.session.iscsi.", "node.conn[0].", "node.conn[0].iscsi.", ""};
constexpr const char* discovery = "discovery.sendtargets.iscsi.MaxRecvDataSegmentLength";

std::string full_key(std::uint32_t id) {
    return std::string{prefixes[iSCSI_PropertyTable[id].key_class]} + iSCSI_PropertyTable[id].name;
}

bool settable(std::uint32_t id) {
    return (iSCSI_PropertyTable[id].flags & 1) != 0;
}

bool means(const std::string& key, std::uint32_t id) {
    if (contains(key, discovery) && id != 32) return false;
    return contains(key + "##", std::string{iSCSI_PropertyTable[id].name} + "##");
}

int accept(std::vector<Property>& request, std::vector<Property>& accepted, std::string& name_file) {
    std::vector<std::string> keys;
    for (Property& property : request) {
        if (property.value.empty() && property.id == 78) break;
        if (property.id == 38) property.id = 20;
        if (property.id == 0 || property.id > 77) return 86;
        const std::string key = full_key(property.id);
        if (property.id == 1) {
            if (property.value.size() > 223) return -3;
            name_file = "InitiatorName=" + property.value + "\n";
        }
        if (std::find(keys.begin(), keys.end(), key) != keys.end()) return 187;
        keys.push_back(key);
        if (!settable(property.id)) return 86;
        accepted.push_back(property);
        if (accepted.size() == 35) return -2;
    }
    return 0;
}

}  // namespace

std::vector<Property> read(const std::string& conf) {
    std::vector<Property> found;
    for (const std::string& line : fuzz::pieces(conf, 159)) {
        if (line[0] == '#' || line[0] == '\n') continue;
        const auto tokens = fuzz::words(line, " =");
        if (tokens.size() < 2) continue;
        const auto values = fuzz::words(tokens[1], fuzz::whitespace);
        for (std::uint32_t id = 1; id < 78; ++id) {
            if (!settable(id) || !means(tokens[0], id)) continue;
            found.push_back({id, values.empty() ? "" : values[0].c_str()});
            break;
        }
        if (found.size() == 34) break;
    }
    return found;
}

std::optional<std::string> first_value(const std::string& conf, std::uint32_t id) {
    if (id == 0 || id > 77) return std::nullopt;
    for (const std::string& line : fuzz::pieces(conf, 79)) {
        if (line[0] == '#' || !contains(line, iSCSI_PropertyTable[id].name)) continue;
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) return std::nullopt;
        std::string value = line.substr(equals + 1);
        value = value.substr(0, value.find('\n'));
        return value.substr(value[0] == ' ' ? 1 : 0);
    }
    return std::nullopt;
}

Written write(std::vector<Property>& request, const std::string& conf, const std::string& name_file) {
    Written files{0, conf, name_file};
    std::vector<Property> accepted;
    files.result = accept(request, accepted, files.name_file);
    if (files.result != 0) return files;
    std::string keys = "##", text;
    for (const Property& property : accepted) keys += full_key(property.id) + "##";
    std::vector<bool> written(accepted.size());
    // Whole lines: pieces of long ones are no lines of their own.
    for (const std::string& line : fuzz::pieces(conf, std::string::npos)) {
        const auto tokens = fuzz::words(line, " =");
        std::size_t selected = accepted.size();
        if (line[0] != '#' && line[0] != '\n' && !tokens.empty() && contains(keys, tokens[0] + "##")) {
            for (selected = 0; selected < accepted.size(); ++selected) {
                if (means(tokens[0], accepted[selected].id)) break;
            }
        }
        if (selected == accepted.size()) {
            text += line;
        } else {
            text += tokens[0] + " = " + accepted[selected].value + "\n";
            written[selected] = true;
        }
    }
    if (std::find(written.begin(), written.end(), false) != written.end()) {
        if (!text.empty() && text.back() != '\n') text += "\n";
        for (std::size_t i = 0; i < accepted.size(); ++i) {
            if (!written[i] && accepted[i].id != 1)
                text += full_key(accepted[i].id) + " = " + accepted[i].value + "\n";
        }
        text += "\n";
    }
    files.conf = text;
    return files;
}

}  // namespace reference
