// The 28 operations: check, call, deliver, report.
#include "kvlinopinitr/open_initiator.h"

#include <cstdarg>
#include <cstring>

#include "core/base/address.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "core/base/status.h"
#include "core/base/text.h"
#include "core/initiator_nodes.h"
#include "core/list_query.h"
#include "core/probes.h"
#include "core/start_stop.h"
#include "core/versions.h"
#include "kvlinopinitr/iscsi_properties.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/iscsi_target.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "platform/kvlinhw.h"
#include "sessions/session_list.h"
#include "targets/removal.h"
#include "targets/target_list.h"
#include "targets/target_records.h"

using namespace iscsi_status;
using namespace opinit;

unsigned int op_init_stack_avail = 0;
unsigned int op_initiator_started = 0;
unsigned int SIZEOFPOINTER = 0;

namespace {

constexpr int the_initiator = 1;

/// The work of an operation: no exception leaves it, and a cancelled thread finishes it.
template <class Work>
unsigned int whole(Work work) {
    return without_exceptions(failure, work);
}

/// An optimiser may take what a destructor stores for dead; the contract has the agent find it.
void keep_stores(const void* object) {
    asm volatile("" : : "r"(object) : "memory");
}

unsigned int require_index(int index) {
    return index == the_initiator ? success : no_multiple_initiators;
}

unsigned int require_available() {
    return probe_installed() ? success : stack_not_installed;
}

unsigned int require_available_refreshing_running() {
    const unsigned int status = require_available();
    probe_running();
    return status;
}

unsigned int require_running() {
    const bool is_installed = probe_installed();
    if (probe_running()) return success;
    return is_installed ? initiator_not_started : stack_not_installed;
}

unsigned int require_index_and_running(int index) {
    const unsigned int status = require_index(index);
    return status != success ? status : require_running();
}

/// Refuses null where the interface has no meaning for it.
template <class... Pointer>
unsigned int require_pointers(Pointer... pointers) {
    return (... && (pointers != nullptr)) ? success : bad_parameters;
}

/// Records a status and logs it: `err_msg` itself is the format of the entry.
unsigned int report(OpenInitiator& initiator, unsigned int status) {
    copy_text(initiator.GetErrStr(static_cast<int>(status)), initiator.err_msg);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    KvLogger::KorvelLogMsg(kv_module_initiator, kv_level_error, initiator.err_msg);
#pragma GCC diagnostic pop
    return status;
}

unsigned int report_failure(OpenInitiator& initiator, unsigned int status) {
    return status != success ? report(initiator, status) : status;
}

unsigned int conclude(OpenInitiator& initiator, const Verdict& verdict) {
    return verdict.reported ? report(initiator, verdict.status) : verdict.status;
}

/// What a query of the sessions or disks answered.
unsigned int query_status(int result) {
    if (result == 0) return success;
    return result == -2 ? no_such_session : out_of_memory;
}

unsigned int deliver_settings(OpenInitiator& initiator, int mode, void* buffer, unsigned int* bytes) {
    const InitiatorNodes nodes = read_initiator_nodes(mode);
    if (const unsigned int missing = missing_node_status(nodes)) return report(initiator, missing);
    print_initiator_info(nodes.records.first(), 2, nodes.count);
    if (buffer == nullptr || bytes == nullptr) return success;

    const _iSCSI_Property* properties = nodes.records.first()->properties;
    unsigned int count = 0;
    while (count < iscsi_node_property_slots && properties[count].id != iscsi_property::end_of_list) ++count;
    *bytes = count * static_cast<unsigned int>(sizeof *properties);
    std::memcpy(buffer, properties, *bytes);
    return success;
}

}  // namespace

ISCSI_Initiator::~ISCSI_Initiator() {
    keep_stores(this);
}
ISCSI_Target::~ISCSI_Target() {
    keep_stores(this);
}

OpenInitiator::OpenInitiator() {
    SIZEOFPOINTER = link_size;
    err_msg[0] = '\0';
    stack_avail = static_cast<unsigned int>(check_stack_available());
    probe_installed();
    probe_running();
}

OpenInitiator::~OpenInitiator() {
    stack_avail = 0;
    keep_stores(this);
}

const char* OpenInitiator::GetErrStr(int code) {
    return status_message(static_cast<unsigned int>(code));
}

unsigned int OpenInitiator::IsServiceAvailable() {
    stack_avail = static_cast<unsigned int>(check_stack_available());
    return stack_avail;
}

unsigned int OpenInitiator::StartInitiator(int index) {
    return whole([&] {
        if (const unsigned int status = require_index(index)) return status;
        if (const unsigned int status = require_available()) return status;
        return conclude(*this, start_stack());
    });
}

unsigned int OpenInitiator::StopInitiator(int index) {
    return whole([&] {
        if (const unsigned int status = require_index_and_running(index)) return status;
        return conclude(*this, stop_stack());
    });
}

unsigned int OpenInitiator::GetInitiatorList(void* buffer, unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_available_refreshing_running()) return status;
        const InitiatorNodes nodes = read_initiator_nodes(2);
        if (const unsigned int missing = missing_node_status(nodes)) return report(*this, missing);
        deliver(nodes.records.first(), buffer, bytes);
        return success;
    });
}

unsigned int OpenInitiator::GetInitiatorGlobals(void* buffer, unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_available_refreshing_running()) return status;
        return deliver_settings(*this, 3, buffer, bytes);
    });
}

unsigned int OpenInitiator::GetLibVersion(_Version* version) {
    fill_library_version(*version);
    return success;
}

unsigned int OpenInitiator::GetInitiatorVersion(char* buffer, unsigned int* bytes) {
    return whole([&] { return deliver_module_version(buffer, bytes); });
}

unsigned int OpenInitiator::AddConnection(unsigned char, unsigned char*, unsigned char*, unsigned char*,
                                          unsigned short) {
    return not_supported;
}

unsigned int OpenInitiator::RemoveConnection(int, unsigned char*, unsigned char*) {
    return not_supported;
}

unsigned int OpenInitiator::GetTargetList(int index, int, void* buffer, unsigned int* bytes) {
    return whole([&] {
        if (index < 0) return node_index_out_of_range;
        if (const unsigned int status = require_index(index)) return status;
        const int result = deliver_target_list(buffer, bytes);
        return result < 0 ? target_not_found : static_cast<unsigned int>(result);
    });
}

unsigned int OpenInitiator::AddInitiatorNode(char*, char*) {
    return no_multiple_initiators;
}

unsigned int OpenInitiator::RemoveInitiatorNode(int) {
    return cannot_remove_initiator;
}

unsigned int OpenInitiator::DiscoverTarget(int, unsigned char* address, unsigned short port, unsigned char*,
                                           void* buffer, unsigned int* count, unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_running()) return status;
        if (const unsigned int status = require_pointers(address, count)) return status;
        _TargetInformation* list = nullptr;
        const unsigned int status = _DiscoverTarget(AddressText{address}.c_str(), port, &list, count);
        const TargetList targets{list};
        if (status == success) {
            print_target_info(list, static_cast<int>(*count));
            deliver(list, buffer, bytes);
        }
        return status;
    });
}

unsigned int OpenInitiator::LoginTarget(_LoginParams* params) {
    return whole([&] {
        if (const unsigned int status = require_pointers(params)) return status;
        if (const unsigned int status = require_index_and_running(static_cast<int>(params->node_index)))
            return status;
        return report_failure(*this, _LoginTarget(params, AddressText{params->target_address}.c_str()));
    });
}

unsigned int OpenInitiator::LogoutTarget(int index, unsigned char* session) {
    return whole([&] {
        if (const unsigned int status = require_index_and_running(index)) return status;
        if (const unsigned int status = require_pointers(session)) return status;
        return report_failure(*this, _LogoutTarget(session));
    });
}

unsigned int OpenInitiator::QuerySessionCount(unsigned int* count) {
    return whole([&] {
        if (const unsigned int status = require_running()) return status;
        if (const unsigned int status = require_pointers(count)) return status;
        return static_cast<unsigned int>(_QuerySessionCount(count));
    });
}

unsigned int OpenInitiator::QuerySessionList(void* buffer, unsigned int* count, unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_running()) return status;
        if (const unsigned int status = require_pointers(count)) return status;
        _SessionInformation* list = nullptr;
        const int result = _QuerySessionList(&list, count, nullptr);
        if (result != 0) return query_status(result);
        SessionList sessions{list};
        print_session_info(list, *count);
        if (buffer != nullptr && bytes != nullptr) sessions.retain_connections();
        deliver(list, buffer, bytes);
        return success;
    });
}

unsigned int OpenInitiator::QueryDiskCount(unsigned char* session, unsigned int* count) {
    return whole([&] {
        if (const unsigned int status = require_running()) return status;
        if (const unsigned int status = require_pointers(session, count)) return status;
        return query_status(_QueryDiskCount(session, count));
    });
}

unsigned int OpenInitiator::QueryDisks(unsigned char* session, void* buffer, unsigned int* count,
                                       unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_running()) return status;
        if (const unsigned int status = require_pointers(session, count)) return status;
        _DiskInformation* list = nullptr;
        const int result = _QueryDiskList(reinterpret_cast<const char*>(session), &list, count);
        const RecordList disks{list};
        if (result == -2) report(*this, no_such_session);
        deliver(list, buffer, bytes);
        return query_status(result);
    });
}

unsigned int OpenInitiator::RemoveTarget(int index, unsigned char* address, unsigned short port,
                                         unsigned char*) {
    return whole([&] {
        if (const unsigned int status = require_index_and_running(index)) return status;
        if (const unsigned int status = require_pointers(address)) return status;
        return report_failure(*this, remove_target(AddressText{address}.c_str(), port));
    });
}

unsigned int OpenInitiator::RemovePersistentTarget(int index, char* target_name, unsigned char* address,
                                                   unsigned int port, unsigned char* unused) {
    return whole([&] {
        if (const unsigned int status = require_index_and_running(index)) return status;
        if (const unsigned int status = require_pointers(address)) return status;
        return _remove_persistent_entry(target_name, AddressText{address}.c_str(), static_cast<int>(port),
                                        unused);
    });
}

unsigned int OpenInitiator::GetProperty(int index, unsigned char, void* buffer, unsigned int* bytes) {
    return whole([&] {
        if (const unsigned int status = require_index(index)) return report(*this, status);
        if (const unsigned int status = require_available()) return status;
        return deliver_settings(*this, 2, buffer, bytes);
    });
}

unsigned int OpenInitiator::SetProperty(int index, _iSCSI_Property* properties) {
    return whole([&] {
        if (const unsigned int status = require_index(index)) return status;
        if (const unsigned int status = require_available()) return status;
        if (const unsigned int status = require_pointers(properties)) return status;
        switch (const int result = _SetProperty(the_initiator, properties)) {
            case 86:
                return report(*this, property_not_found);
            case -2:
                return report(*this, too_many_parameters);
            case -3:
                return report(*this, initiator_name_too_long);
            default:
                return report(*this, static_cast<unsigned int>(result));
        }
    });
}

unsigned int OpenInitiator::GetList(int index, int type, void* buffer, unsigned int* bytes, ...) {
    const void* object = nullptr;
    if (type == LIST_PORTAL_GROUPS || type == LIST_TARGET_PORTALS || type == LIST_CONNECTIONS) {
        std::va_list arguments;
        va_start(arguments, bytes);
        object = va_arg(arguments, const void*);
        va_end(arguments);
    }
    return whole([&] {
        if (const unsigned int status = require_index(index)) return status;
        if (type == LIST_TARGET_PORTALS) {
            probe_installed();
        } else if (const unsigned int status = require_running()) {
            return status;
        }
        return conclude(*this, query_list(type, object, buffer, bytes));
    });
}

unsigned int OpenInitiator::AddTargetEntry(int, char*, unsigned char*, unsigned short) {
    return not_supported;
}

unsigned int OpenInitiator::AddTargetChapEntry(int, char*, char*) {
    return not_supported;
}

unsigned int OpenInitiator::DelTargetChapEntry(int, char*, char*) {
    return not_supported;
}
