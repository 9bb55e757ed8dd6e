// Questions about the live sessions.
#include <sys/stat.h>

#include <optional>

#include "core/base/directory.h"
#include "core/base/no_exceptions.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/session_class.h"
#include "sessions/session_list.h"
#include "sessions/session_table.h"

namespace opinit {

int find_session(int session, char (*target_name)[target_name_size]) {
    const Path entry = Path{session_class}.text("/session").number(session);
    if (target_name != nullptr) {
        const Attribute attribute{Path{entry}.text("/targetname").c_str(), target_name_size};
        copy_text(attribute.word(), *target_name);
        if (attribute.opened()) return 1;
    }
    struct stat status;
    return ::lstat(entry.c_str(), &status) == 0 ? 1 : 0;
}

std::optional<unsigned int> count_sessions() {
    DirectoryRoom room;
    Directory directory{session_class, room.bytes};
    unsigned int count = 0;
    while (directory) {
        const auto entry = directory.next();
        if (!entry) break;
        if (skip_dot_entries(entry->name)) ++count;
    }
    const int error = directory.error();
    return error == 0 || nothing_there(error) ? std::optional{count} : std::nullopt;
}

}  // namespace opinit

using namespace opinit;

int _QuerySessionCount(unsigned int* count) {
    return without_exceptions(0, [&] {
        const unsigned int sessions = count_sessions().value_or(0);
        if (sessions != 0) *count = sessions;
        return 0;
    });
}

int _QuerySessionList(_SessionInformation** list, unsigned int* count, void*) {
    *list = nullptr;
    return without_exceptions(12, [&] {
        SessionList sessions;
        const int result = read_sessions(sessions, *count);
        if (result == 0) *list = sessions.release();
        return result;
    });
}

int _QuerySessionID(const char* address, unsigned short port, const char* target_name) {
    return without_exceptions(-1, [&] { return SessionTable{}.find(address, port, target_name); });
}
