#include "core/versions.h"

#include "core/base/record_list.h"
#include "core/base/text.h"
#include "kvlinopinitr/iscsi_status.h"
#include "platform/kvlinhw.h"

namespace opinit {
namespace {

constexpr const char* module_name = "iscsi_tcp";
constexpr std::uint32_t packed_version = (OPINIT_VERSION_MAJOR << 16) | OPINIT_VERSION_MINOR;

}  // namespace

void fill_library_version(_Version& version) {
    copy_text("libkvlinopinitr", version.name);
    version.version = packed_version;
}

unsigned int deliver_module_version(char* buffer, unsigned int* bytes) {
    char version[kv_modinfo_text_size] = {};
    char description[kv_modinfo_text_size] = {};
    const int result = getModinfo(module_name, version, description);
    if (result != 0) return static_cast<unsigned int>(result);

    RecordList<_InitiatorVersion> list;
    _InitiatorVersion* record = list.append();
    if (record == nullptr) return iscsi_status::out_of_memory;
    copy_text(module_name, record->module_name);
    copy_text(field_text(version), record->version);
    copy_text(field_text(description), record->module_text);
    *bytes = copy_record_list(reinterpret_cast<unsigned char*>(buffer), sizeof(_InitiatorVersion), record);
    return iscsi_status::success;
}

}  // namespace opinit
