// The diagnostic hooks. They print nothing; an agent's developer interposes them to see the lists that
// operations return, so the operations call them by their exported names.
#include "kvlinopinitr/open_initiator_functions.h"

int print_target_info(_TargetInformation*, int) {
    return 0;
}

int print_portals_info(_TargetPortalGroups*, unsigned int) {
    return 0;
}

int print_session_info(_SessionInformation*, unsigned int) {
    return 0;
}

int print_connection_info(_ConnectionInformation*) {
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
