#include "core/list_query.h"

#include "core/base/address.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "core/base/text.h"
#include "core/initiator_nodes.h"
#include "kvlinopinitr/iscsi_initiator.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/target_list.h"

namespace opinit {
namespace {

constexpr int target_missing = 1;
constexpr int connection_missing = 1;
constexpr int memory_out = 2;

_TargetInformation* find_target(const TargetList& targets, std::string_view name) {
    _TargetInformation* target = targets.get();
    while (target != nullptr && field_text(target->target_name) != name) target = next_record(target);
    return target;
}

/// The text of an address field need not be terminated.
std::string_view address_text(const _TargetPortalGroups& portal) {
    const std::string_view whole{reinterpret_cast<const char*>(portal.address), sizeof portal.address};
    return whole.substr(0, whole.find('\0'));
}

void address_to_bytes(_TargetPortalGroups& portal) {
    parse_ip_address(portal.address, address_text(portal));
}

/// The target's portals as the caller sees them, or false when memory ran out in between.
bool copy_portals(const _TargetInformation& target, RecordList<_TargetPortalGroups>& copies) {
    for (const _TargetPortalGroups* portal = target.portals; portal != nullptr;
         portal = next_record(portal)) {
        const bool is_first = portal == target.portals;
        _TargetPortalGroups* copy = is_first ? copies.first() : copies.append();
        if (copy == nullptr) return false;
        *copy = *portal;
        address_to_bytes(*copy);
    }
    return true;
}

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
    int result;
    const TargetList targets = read_target_list(result);
    const _TargetInformation* target = find_target(targets, target_name);
    _TargetPortalGroups* portals = target != nullptr ? target->portals : nullptr;
    for (_TargetPortalGroups* portal = portals; portal != nullptr; portal = next_record(portal)) {
        address_to_bytes(*portal);
    }
    if (target != nullptr) print_portals_info(portals, 0);
    deliver(portals, buffer, bytes);
    return result < 0 ? iscsi_status::target_not_found : static_cast<unsigned int>(result);
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

using namespace opinit;

int _GetPortalGroups(char*, char* target_name, _TargetPortalGroups** list) {
    *list = nullptr;
    return without_exceptions(memory_out, [&] {
        if (target_name == nullptr) return target_missing;
        int result;
        const TargetList targets = read_target_list(result);
        const _TargetInformation* target = find_target(targets, target_name);
        if (target == nullptr) return target_missing;

        RecordList<_TargetPortalGroups> portals;
        if (portals.append() == nullptr) return memory_out;
        const bool complete = copy_portals(*target, portals);
        *list = portals.release();
        return complete ? 0 : memory_out;
    });
}
