#include "config/settings.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "config/iscsid_conf.h"
#include "config/property_key.h"
#include "core/base/host_files.h"
#include "core/base/text.h"
#include "core/base/tokens.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinit {
namespace {

constexpr std::size_t settings_line_limit = 160;
constexpr unsigned int most_entries = iscsi_node_property_slots - 1;

void set_entry(_iSCSI_Property& entry, std::uint32_t id, std::string_view value) {
    std::memset(&entry, 0, sizeof entry);
    entry.id = id;
    copy_text(value, entry.value);
}

/// Takes the setting of a line into `entry`; false when the line holds none that the table knows.
bool read_setting(std::string_view line, _iSCSI_Property& entry) {
    if (!may_be_setting(line)) return false;
    const std::string_view key = next_token(line, separates_setting);
    std::string_view behind_key = next_token(line, separates_setting);
    if (behind_key.empty()) return false;
    const auto* row = std::find_if(std::begin(iSCSI_PropertyTable), std::end(iSCSI_PropertyTable),
                                   [key](const auto& candidate) { return key_names_row(key, candidate); });
    if (row == std::end(iSCSI_PropertyTable)) return false;
    set_entry(entry, row->id, next_token(behind_key, is_white_space));
    return true;
}

/// Appends what iscsid.conf sets behind the first `known` entries and returns how many there are then.
/// Nothing of a file that cannot be read to its end: half of the settings would look like all of them.
unsigned int read_settings(_InitiatorNode& node, unsigned int known) {
    const File file{iscsid_conf, Access::read_and_write};
    if (!file) return known;
    unsigned int count = known;
    LineReader lines{file, settings_line_limit};
    while (count < most_entries) {
        const auto line = lines.next();
        if (!line) break;
        if (read_setting(*line, node.properties[count])) ++count;
    }
    if (!lines.failed()) return count;
    std::fill(node.properties + known, node.properties + count, _iSCSI_Property{});
    return known;
}

}  // namespace

unsigned int _GetInitiatorSettings(_InitiatorNode& node) {
    set_entry(node.properties[0], iscsi_property::initiator_name, field_text(node.node_name));
    const unsigned int count = read_settings(node, 1);
    set_entry(node.properties[count], iscsi_property::end_of_list, "");
    node.stack_running = static_cast<std::uint8_t>(check_stack_running());
    node.node_valid = 1;
    return count;
}

}  // namespace opinit
