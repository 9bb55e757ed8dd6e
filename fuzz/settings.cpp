// The input is iscsid.conf.
#include <cstdlib>
#include <optional>

#include "fuzz/fuzz.h"
#include "fuzz/settings_reference.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

/// The settings that a file holds, in file order; at most 34.
std::vector<reference::Property> expected_settings(const std::string& conf) {
    std::vector<reference::Property> found;
    for (const std::string& line : fuzz::pieces(conf, 159)) {
        const auto tokens = fuzz::words(line, " =");
        if (line[0] == '#' || line[0] == '\n' || tokens.size() < 2 || found.size() == 34) continue;
        const auto values = fuzz::words(tokens[1], fuzz::whitespace);
        std::uint32_t id = 1;
        while (id < 78 && !(reference::settable(id) && reference::means(tokens[0], id))) ++id;
        if (id < 78) found.push_back({id, values.empty() ? "" : values[0].c_str()});
    }
    return found;
}

std::string expected_node(const std::vector<reference::Property>& settings) {
    _InitiatorNode node{0, 1, "iqn.a", {}, "iqn.a", {}, 1, {{1, "iqn.a"}}, {}};
    _iSCSI_Property* entry = node.properties;
    for (const auto& setting : settings) {
        (++entry)->id = setting.id;
        setting.value.copy(entry->value, setting.value.size());
    }
    (++entry)->id = 78;
    return fuzz::bytes(node);
}

/// Behind the sign of the first line that mentions a property's name.
std::optional<std::string> expected_value(const std::string& conf, std::uint32_t id) {
    if (id == 0 || id > 77) return std::nullopt;
    for (const std::string& line : fuzz::pieces(conf, 79)) {
        if (line[0] == '#' || !fuzz::contains(line, iSCSI_PropertyTable[id].name)) continue;
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) return std::nullopt;
        const std::string value = line.substr(equals + 1, line.find('\n') - equals - 1);
        return value.substr(value[0] == ' ' ? 1 : 0);
    }
    return std::nullopt;
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    static const bool made = (host::set_initiator_name("iqn.a"), host::start_stack(), true);
    host::write_file(made ? reference::conf : "", input);
    void* list = nullptr;
    unsigned int count = 0;
    require_equal(0, _GetInitiatorNodeList(&list, &count, 2), "result");
    const auto settings = expected_settings(input);
    require_equal(expected_node(settings), bytes(*static_cast<_InitiatorNode*>(list)), "node");
    require_equal(static_cast<long>(settings.size()) + 1, count, "count");
    std::free(list);

    const auto id = static_cast<unsigned char>(input.size() % 79);
    const auto value = expected_value(input, id);
    _iSCSI_Property found{4711, {}}, expected{4711, {}};
    require_equal(value ? 0 : -1, _GetProperty(1, id, &found), "property result");
    const std::string text = value ? value->c_str() : "";
    text.copy(expected.value, text.size());
    require_equal(bytes(expected.value), bytes(found.value), "property value");
}
