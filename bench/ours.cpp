// The operations as an agent calls them.
#include <cstring>
#include <string>

#include "bench/driver.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "platform/kvlinhw.h"

// What the maker's log costs is the maker's.
void KvLogger::KorvelLogMsg(ModName, LogType, char const*, ...) {}

namespace {

OpenInitiator initiator;

answer check(const char*, unsigned char*) {
    return {0, static_cast<unsigned int>(check_stack_available() + check_stack_running()), 0};
}

answer sessions(const char*, unsigned char* buffer) {
    answer result{};
    result.status = initiator.QuerySessionList(buffer, &result.count, &result.bytes);
    return result;
}

answer disks(const char* session, unsigned char* buffer) {
    answer result{};
    unsigned char reference[16]{};
    std::strncpy(reinterpret_cast<char*>(reference), session, sizeof reference - 1);
    result.status = initiator.QueryDisks(reference, buffer, &result.count, &result.bytes);
    return result;
}

answer targets(const char*, unsigned char* buffer) {
    answer result{};
    result.status = initiator.GetTargetList(1, 0, buffer, &result.bytes);
    return result;
}

answer property(const char*, unsigned char* buffer) {
    answer result{};
    result.status = initiator.GetProperty(1, 0, buffer, &result.bytes);
    return result;
}

answer globals(const char*, unsigned char* buffer) {
    answer result{};
    result.status = initiator.GetInitiatorGlobals(buffer, &result.bytes);
    return result;
}

answer initiators(const char*, unsigned char* buffer) {
    answer result{};
    result.status = initiator.GetInitiatorList(buffer, &result.bytes);
    return result;
}

answer groups(const char* target, unsigned char* buffer) {
    answer result{};
    result.status = initiator.GetList(1, LIST_PORTAL_GROUPS, buffer, &result.bytes, target);
    return result;
}

answer portals(const char* target, unsigned char* buffer) {
    static _TargetInformation record;
    std::strncpy(record.target_name, target, sizeof record.target_name - 1);
    answer result{};
    result.status = initiator.GetList(1, LIST_TARGET_PORTALS, buffer, &result.bytes, &record);
    return result;
}

answer connections(const char* session, unsigned char* buffer) {
    static _SessionInformation record;
    record.SessionId[0] = static_cast<unsigned char>(std::stoi(session));
    answer result{};
    result.status = initiator.GetList(1, LIST_CONNECTIONS, buffer, &result.bytes, &record);
    return result;
}

answer set(const char*, unsigned char*) {
    // Of another length each time, which takes one call more.
    static bool longer = false;
    _iSCSI_Property properties[] = {{16, ""}, {78, ""}};
    std::strcpy(properties[0].value, (longer = !longer) ? "300" : "30");
    return {initiator.SetProperty(1, properties), 0, 0};
}

}  // namespace

const operation operations[] = {
    {"check", check},
    {"sessions", sessions},
    {"disks", disks},
    {"targets", targets},
    {"property", property},
    {"globals", globals},
    {"initiators", initiators},
    {"groups", groups},
    {"portals", portals},
    {"connections", connections},
    {"set", set},
    {nullptr, nullptr},
};
