// Looking up one property in iscsid.conf.
#include <cstring>
#include <string_view>

#include "config/iscsid_conf.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/text.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/open_initiator_functions.h"

using namespace opinit;

namespace {

constexpr std::size_t property_line_limit = 80;

/// The text behind the first '=', without the one space that usually follows it.
int take_value(std::string_view line, _iSCSI_Property& out) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return -1;
    std::string_view value = line.substr(equals + 1);
    value = value.substr(0, value.find('\n'));
    if (value.starts_with(' ')) value.remove_prefix(1);
    std::memset(out.value, 0, sizeof out.value);
    copy_text(value, out.value);
    return 0;
}

}  // namespace

int _GetProperty(int, unsigned char id, _iSCSI_Property* out) {
    return without_exceptions(-1, [id, out] {
        if (id > iscsi_property::end_of_list || iSCSI_PropertyTable[id].name == nullptr) return -1;
        const File file{iscsid_conf, Access::read_and_write};
        if (!file) return -1;
        LineReader lines{file, property_line_limit};
        while (const auto line = lines.next()) {
            if (line->front() == '#') continue;
            if (line->find(iSCSI_PropertyTable[id].name) != std::string_view::npos)
                return take_value(*line, *out);
        }
        return -1;
    });
}
