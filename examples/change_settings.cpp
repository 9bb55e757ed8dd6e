// Sets two settings of the initiator in one request and shows all settings as they are then.
#include <kvlinopinitr/answer_buffer.h>
#include <kvlinopinitr/iscsi_properties.h>
#include <kvlinopinitr/iscsi_records.h>
#include <kvlinopinitr/iscsi_status.h>
#include <kvlinopinitr/open_initiator.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int the_initiator = 1;

_iSCSI_Property property(std::uint32_t id, const char* value) {
    _iSCSI_Property property{};
    property.id = id;
    std::strncpy(property.value, value, sizeof property.value - 1);
    return property;
}

bool succeeded(OpenInitiator& initiator, unsigned int status) {
    if (status != iscsi_status::success) {
        std::fprintf(stderr, "%u: %s\n", status, initiator.GetErrStr(static_cast<int>(status)));
    }
    return status == iscsi_status::success;
}

}  // namespace

int main() {
    OpenInitiator initiator;
    std::vector<_iSCSI_Property> request{
        property(19, "60"),  // node.session.timeo.replacement_timeout
        property(30, "10"),  // node.conn[0].timeo.noop_out_timeout
        property(iscsi_property::end_of_list, ""),
    };
    if (!succeeded(initiator, initiator.SetProperty(the_initiator, request.data()))) return 1;

    kvlinopinitr::AnswerBuffer<_iSCSI_Property> settings;
    if (!succeeded(initiator, initiator.GetInitiatorGlobals(settings.data(), settings.bytes()))) return 1;
    for (const _iSCSI_Property& setting : settings.records()) {
        std::printf("%s = %s\n", iSCSI_PropertyTable[setting.id].name, setting.value);
    }
    return 0;
}
