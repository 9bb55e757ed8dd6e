// The initiator node: the one initiator of the host.
#include <cstring>
#include <string_view>

#include "config/initiator_name.h"
#include "config/settings.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/session_class.h"

using namespace opinit;

int _GetInitiatorNodeList(void** list, unsigned int* count, int mode) {
    *list = nullptr;
    *count = 0;
    return without_exceptions(-1, [&] {
        RecordList<_InitiatorNode> nodes;
        _InitiatorNode* node = nodes.append();
        if (node == nullptr) return -1;
        if (const int result = _GetInitiatorName(node->node_name)) return result;
        if (node->node_name[0] == '\0') return 0;
        std::memcpy(node->initiator_name, node->node_name, sizeof node->initiator_name);
        *count = mode == 2 || mode == 3 ? _GetInitiatorSettings(*node) : 1;
        *list = nodes.release();
        return 0;
    });
}

int _AddInitiatorNode() {
    return -1;
}

int _RemoveInitiatorNode(const char* name) {
    return without_exceptions(-1, [name] {
        char current[initiator_name_size]{};
        const int result = _GetInitiatorName(current);
        if (name == nullptr || std::string_view{current} != name) return -1;
        return count_sessions() != 0u ? -2 : result;
    });
}
