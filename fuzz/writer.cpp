// The input is a request, a line "ID=VALUE" for each property, then an empty line, then iscsid.conf.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz.h"
#include "fuzz/settings_reference.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

using Request = std::vector<_iSCSI_Property>;
using Accepted = std::vector<reference::Property>;

constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";
const std::string old_name = "InitiatorName=iqn.a\n# and a line behind it\n";

constexpr std::string_view line_ends{"\n\0", 2};

/// The rest of the text is iscsid.conf.
Request take_request(std::string& text) {
    Request request;
    for (const std::string& line : fuzz::pieces(std::string{text}, std::string::npos)) {
        text.erase(0, line.size());
        if (line == "\n" || request.size() == 40) break;
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        _iSCSI_Property& property = request.emplace_back();
        property.id = static_cast<std::uint32_t>(std::strtoul(line.c_str(), nullptr, 10));
        const std::string value =
            line.substr(equals + 1, line.find_first_of(line_ends, equals + 1) - equals - 1);
        value.copy(property.value, sizeof property.value);
    }
    request.push_back({78, ""});
    return request;
}

std::string full_key(std::uint32_t id) {
    constexpr const char* prefixes[] = {
        "", "node.session.", "node.session.iscsi.", "node.conn[0].", "node.conn[0].iscsi.", ""};
    return std::string{prefixes[iSCSI_PropertyTable[id].key_class]} + iSCSI_PropertyTable[id].name;
}

int accept(Request& request, Accepted& accepted, std::string& keys, std::string& name) {
    for (auto& [id, text] : request) {
        const std::string value(text, strnlen(text, sizeof text));
        if (value.empty() && id == 78) break;
        if (id == 38) id = 20;
        if (id == 0 || id > 77) return 86;
        const std::string key = full_key(id) + "##";
        if (id == 1 && value.size() > 223) return -3;
        if (id == 1) name = "InitiatorName=" + value + "\n";
        if (fuzz::contains(keys, "##" + key)) return 187;
        keys += key;
        if (!reference::settable(id)) return 86;
        accepted.push_back({id, value});
        if (accepted.size() == 35) return -2;
    }
    return 0;
}

int write(Request& request, std::string& conf, std::string& name) {
    Accepted accepted;
    std::string keys = "##", text;
    if (const int result = accept(request, accepted, keys, name)) return result;
    // Whole lines: pieces of long ones are no lines of their own.
    for (const std::string& line : fuzz::pieces(conf, std::string::npos)) {
        const auto tokens = fuzz::words(line, " =");
        auto selected = accepted.end();
        if (line[0] != '#' && line[0] != '\n' && !tokens.empty() && fuzz::contains(keys, tokens[0] + "##"))
            selected = std::find_if(accepted.begin(), accepted.end(), [&](const auto& property) {
                return reference::means(tokens[0], property.id);
            });
        text += selected == accepted.end() ? line : tokens[0] + " = " + selected->value + "\n";
        if (selected != accepted.end()) selected->written = true;
    }
    conf = text;
    std::erase_if(accepted, [](const auto& property) { return property.written; });
    if (accepted.empty()) return 0;
    if (!conf.empty() && conf.back() != '\n') conf += "\n";
    for (const auto& property : accepted) {
        if (property.id != 1) conf += full_key(property.id) + " = " + property.value + "\n";
    }
    conf += "\n";
    return 0;
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    std::string conf = input, name = old_name;
    Request request = take_request(conf), list = request;
    host::write_file(reference::conf, conf);
    host::write_file(name_file, old_name);

    require_equal(write(request, conf, name), _SetProperty(1, list.data()), "result");
    require_equal(conf, host::read_file(reference::conf), "iscsid.conf");
    require_equal(name, host::read_file(name_file), "name file");
    require_equal(false, host::exists("/tmp/tmpiscsidconf.txt"), "temporary file");
    for (std::size_t i = 0; i < request.size(); ++i)
        require_equal(request[i].id, list[i].id, "id in the request");
}
