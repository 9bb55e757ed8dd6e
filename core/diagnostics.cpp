// The diagnostic hooks. They print nothing; an agent's developer interposes them to see the lists that
// operations return, so the operations call them by their exported names.
#include <cstdint>

#include "kvlinopinitr/open_initiator_functions.h"

namespace {

template <class Record>
void walk(const Record* list, unsigned int most) {
    std::uint16_t visited = 0;
    for (const Record* record = list; record != nullptr && visited < most; record = next_record(record)) {
        ++visited;
    }
}

}  // namespace

int print_target_info(_TargetInformation* list, int count) {
    for (const _TargetInformation* target = list; target != nullptr && count > 0;
         target = next_record(target)) {
        walk(target->portals, UINT16_MAX);
        --count;
    }
    return 0;
}

int print_portals_info(_TargetPortalGroups* list, unsigned int) {
    walk(list, UINT16_MAX);
    return 0;
}

int print_session_info(_SessionInformation* list, unsigned int count) {
    walk(list, count);
    return 0;
}

int print_connection_info(_ConnectionInformation* list) {
    walk(list, UINT16_MAX);
    return 0;
}

int print_disks_info(_DiskInformation*, unsigned int) {
    return 0;
}

int print_initiator_info(_InitiatorNode* list, int mode, unsigned int count) {
    for (_InitiatorNode* node = list; node != nullptr; node = next_record(node)) {
        if (mode == 2) print_kv_settings(node->properties, count);
    }
    return 0;
}

int print_kv_settings(_iSCSI_Property*, unsigned int) {
    return 0;
}
