// The input is iscsid.conf.
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz.h"
#include "fuzz/settings_reference.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

constexpr const char* conf = "/etc/iscsi/iscsid.conf";

std::string bytes_of(const _InitiatorNode& node) {
    return {reinterpret_cast<const char*>(&node), sizeof node};
}

std::string expected_node(const std::vector<reference::Property>& settings) {
    _InitiatorNode node{0, 1, "iqn.a", {}, "iqn.a", {}, 1, {{1, "iqn.a"}}, {}};
    _iSCSI_Property* entry = node.properties;
    for (const auto& [id, value] : settings) {
        (++entry)->id = id;
        value.copy(entry->value, value.size());
    }
    (++entry)->id = 78;
    return bytes_of(node);
}

}  // namespace

void fuzz::try_input(const std::string& input) {
    static const bool made = (host::set_initiator_name("iqn.a"), host::start_stack(), true);
    put(made ? conf : "", input);
    void* list = nullptr;
    unsigned int count = 0;
    require_equal("0", std::to_string(_GetInitiatorNodeList(&list, &count, 2)), "result");
    const auto settings = reference::read(input);
    require_equal(expected_node(settings), bytes_of(*static_cast<_InitiatorNode*>(list)), "node");
    require_equal(std::to_string(settings.size() + 1), std::to_string(count), "count");
    std::free(list);

    const auto id = static_cast<unsigned char>(input.size() % 79);
    const auto value = reference::first_value(input, id);
    _iSCSI_Property found{4711, {}};
    require_equal(value ? "0" : "-1", std::to_string(_GetProperty(1, id, &found)), "property result");
    _iSCSI_Property expected{4711, {}};
    const std::string text = value ? value->c_str() : "";
    text.copy(expected.value, text.size());
    require_equal({expected.value, 256}, {found.value, 256}, "property value");
}
