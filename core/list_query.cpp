#include "core/list_query.h"

#include "core/base/record_list.h"
#include "core/base/text.h"
#include "core/initiator_nodes.h"
#include "kvlinopinitr/iscsi_initiator.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/portal_groups.h"

namespace opinit {
namespace {

constexpr int connection_missing = 1;

unsigned int list_portal_groups(char* initiator_name, const char* target_name, void* buffer,
                                unsigned int* bytes) {
    _TargetPortalGroups* list = nullptr;
    const int result = _GetPortalGroups(initiator_name, const_cast<char*>(target_name), &list);
    const RecordList owner{list};
    print_portals_info(list, 0);
    deliver(list, buffer, bytes);
    return static_cast<unsigned int>(result);
}

unsigned int list_target_portals(std::string_view target_name, void* buffer, unsigned int* bytes) {
    const TargetPortals portals = find_portals(target_name);
    if (portals.records.first() != nullptr) print_portals_info(portals.records.first(), 0);
    deliver(portals.records.first(), buffer, bytes);
    return portals.status < 0 ? iscsi_status::target_not_found : static_cast<unsigned int>(portals.status);
}

unsigned int list_connections(const char* initiator_name, const _SessionInformation* session, void* buffer,
                              unsigned int* bytes) {
    _ConnectionInformation* list = nullptr;
    const int result = session != nullptr ? _QueryConnectionList(initiator_name, session->SessionId, &list)
                                          : connection_missing;
    const RecordList owner{list};
    print_connection_info(list);
    deliver(list, buffer, bytes);
    return static_cast<unsigned int>(result);
}

}  // namespace

Verdict query_list(int type, const void* object, void* buffer, unsigned int* bytes) {
    InitiatorNodes nodes = read_initiator_nodes(1);
    if (const unsigned int missing = missing_node_status(nodes)) return reported(missing);
    char* initiator_name = nodes.records.first()->node_name;

    switch (type) {
        case LIST_PORTAL_GROUPS:
            return silent(
                list_portal_groups(initiator_name, static_cast<const char*>(object), buffer, bytes));
        case LIST_TARGET_PORTALS: {
            const auto* target = static_cast<const _TargetInformation*>(object);
            const std::string_view name = target != nullptr ? field_text(target->target_name) : "";
            return silent(list_target_portals(name, buffer, bytes));
        }
        case LIST_CONNECTIONS:
            return silent(list_connections(initiator_name, static_cast<const _SessionInformation*>(object),
                                           buffer, bytes));
        default:
            return silent(static_cast<unsigned int>(nodes.result));
    }
}

}  // namespace opinit
