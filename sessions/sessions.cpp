// Questions about the live sessions.
#include <sys/stat.h>

#include <string>

#include "core/base/address.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/find_session.h"
#include "sessions/session_list.h"
#include "sessions/session_table.h"

namespace opinit {
namespace {

constexpr int memory_out = 12;

std::string table_key(std::string_view address, std::uint16_t port, std::string_view target_name) {
    std::string key{address};
    key += ' ';
    key += std::to_string(port);
    key += ' ';
    key += target_name;
    return key;
}

}  // namespace

int find_session(int session, char (*target_name)[target_name_size]) {
    const std::string entry = "/sys/class/iscsi_session/session" + std::to_string(session);
    if (target_name != nullptr) {
        const Attribute attribute{entry + "/targetname", target_name_size};
        copy_text(attribute.word(), *target_name);
        if (attribute.opened()) return 1;
    }
    struct stat status;
    return ::lstat(entry.c_str(), &status) == 0 ? 1 : 0;
}

SessionTable SessionTable::read() {
    SessionTable table;
    SessionList sessions;
    unsigned int count = 0;
    if (read_sessions(sessions, count) != 0) return table;
    for (const _SessionInformation* session = sessions.first(); session != nullptr;
         session = next_record(session)) {
        if (session->Connections == nullptr) continue;
        const AddressText address{session->Connections->TargetAddress};
        table.numbers_.emplace(
            table_key(address.c_str(), session->Connections->TargetPort, field_text(session->TargetName)),
            session->SessionHandle[0]);
    }
    return table;
}

int SessionTable::find(std::string_view address, std::uint16_t port, std::string_view target_name) const {
    const auto found = numbers_.find(table_key(address, port, target_name));
    return found != numbers_.end() ? int{found->second} : -1;
}

}  // namespace opinit

using namespace opinit;

int _QuerySessionCount(unsigned int* count) {
    return without_exceptions(memory_out, [&] {
        const auto entries = list_directory("/sys/class/iscsi_session", skip_dot_entries);
        if (entries && !entries->empty()) *count = static_cast<unsigned int>(entries->size());
        return 0;
    });
}

int _QuerySessionList(_SessionInformation** list, unsigned int* count, void*) {
    *list = nullptr;
    return without_exceptions(memory_out, [&] {
        SessionList sessions;
        const int result = read_sessions(sessions, *count);
        if (result == 0) *list = sessions.release();
        return result;
    });
}

int _QuerySessionID(const char* address, unsigned short port, const char* target_name) {
    return without_exceptions(-1, [&] { return SessionTable::read().find(address, port, target_name); });
}
