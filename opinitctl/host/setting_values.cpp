#include "host/setting_values.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "kvlinopinitr/iscsi_properties.h"
#include "shown/names.h"

namespace opinitctl {
namespace {

constexpr std::uint32_t startup = 15;
constexpr std::uint32_t noop_out_interval = 31;

bool is_number(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
}

bool has_example(const _iSCSI_PropertyInfo& row, bool (*is)(std::string_view)) {
    return (row.value != nullptr && is(row.value)) || (row.default_value != nullptr && is(row.default_value));
}

bool is_yes_or_no(std::string_view text) {
    return text == "Yes" || text == "No";
}

std::string unless_among(const std::string& value, const Names& words) {
    return without({value}, words).empty() ? "" : "one of " + enumeration(words);
}

std::string unless_name(const std::string& value) {
    for (const char* const form : {"iqn.", "eui.", "naa."}) {
        if (value.starts_with(form) && value.size() > 4) return "";
    }
    return "a name that begins with iqn., eui. or naa.";
}

// The table's own examples tell what kind of value a setting has.
std::string expectation(std::uint32_t id, const std::string& value) {
    const _iSCSI_PropertyInfo& row = iSCSI_PropertyTable[id];
    if (id == iscsi_property::initiator_name) return unless_name(value);
    if (id == startup) return unless_among(value, {"manual", "automatic", "onboot"});
    if (id == iscsi_property::auth_method) return unless_among(value, {"None", "CHAP"});
    if (id == noop_out_interval || has_example(row, is_number)) return is_number(value) ? "" : "a number";
    if (has_example(row, is_yes_or_no)) return unless_among(value, {"Yes", "No"});
    return "";
}

}  // namespace

std::string objection(std::uint32_t id, const std::string& value) {
    if (id >= std::size(iSCSI_PropertyTable)) return "";
    const std::string expected = expectation(id, value);
    return expected.empty() ? "" : "open-iscsi expects " + expected;
}

}  // namespace opinitctl
