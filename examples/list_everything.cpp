// Lists recorded targets with their portals, and live sessions with their disks.
#include <kvlinopinitr/answer_buffer.h>
#include <kvlinopinitr/iscsi_records.h>
#include <kvlinopinitr/iscsi_status.h>
#include <kvlinopinitr/open_initiator.h>

#include <cstdio>

namespace {

using kvlinopinitr::AnswerBuffer;

/// False, with the reason told, unless the status is one that means success here.
bool succeeded(OpenInitiator& initiator, const char* task, unsigned int status, unsigned int nothing_there) {
    if (status == iscsi_status::success || status == nothing_there) return true;
    std::fprintf(stderr, "%s: %u: %s\n", task, status, initiator.GetErrStr(static_cast<int>(status)));
    return false;
}

bool list_targets(OpenInitiator& initiator) {
    AnswerBuffer<_TargetInformation> targets;
    const unsigned int status = initiator.GetTargetList(1, 0, targets.data(), targets.bytes());
    if (!succeeded(initiator, "targets", status, iscsi_status::target_not_found)) return false;
    for (_TargetInformation& target : targets.records()) {
        std::printf("target %s%s\n", target.target_name, target.logged_in != 0 ? ", logged in" : "");
        AnswerBuffer<_TargetPortalGroups> portals;
        initiator.GetList(1, LIST_TARGET_PORTALS, portals.data(), portals.bytes(), &target);
        for (const _TargetPortalGroups& portal : portals.records()) {
            const unsigned char* address = portal.address;
            std::printf("  portal %u.%u.%u.%u:%u, group %u\n", address[0], address[1], address[2], address[3],
                        static_cast<unsigned int>(portal.port), portal.tpgt);
        }
    }
    return true;
}

bool list_disks(OpenInitiator& initiator, _SessionInformation& session) {
    AnswerBuffer<_DiskInformation> disks;
    unsigned int count = 0;
    const unsigned int status = initiator.QueryDisks(session.SessionId, disks.data(), &count, disks.bytes());
    if (!succeeded(initiator, "disks", status, iscsi_status::no_such_session)) return false;
    if (count == 0) return true;  // the one record there is holds the names only
    for (const _DiskInformation& disk : disks.records()) {
        std::printf("  lun %u: %s, %s bytes, %s %s\n", disk.Lun, disk.DeviceName, disk.Size, disk.Vendor,
                    disk.Model);
    }
    return true;
}

bool list_sessions(OpenInitiator& initiator) {
    AnswerBuffer<_SessionInformation> sessions;
    unsigned int count = 0;
    const unsigned int status = initiator.QuerySessionList(sessions.data(), &count, sessions.bytes());
    if (!succeeded(initiator, "sessions", status, iscsi_status::no_such_session)) return false;
    for (_SessionInformation& session : sessions.records()) {
        std::printf("session %u to %s\n", session.SessionId[0], session.TargetName);
        if (!list_disks(initiator, session)) return false;
    }
    return true;
}

}  // namespace

int main() {
    OpenInitiator initiator;
    return list_targets(initiator) && list_sessions(initiator) ? 0 : 1;
}
