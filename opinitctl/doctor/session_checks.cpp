// Live sessions that are not what they seem.
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "doctor/check.h"
#include "doctor/host.h"
#include "errors.h"
#include "host/live_disks.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/names.h"

namespace opinitctl::doctor {
namespace {

using Sessions = std::vector<SysfsSession>;

constexpr unsigned int first_beyond_one_byte = 256;

std::string listed(const Sessions& sessions, std::string (*describe)(const SysfsSession&)) {
    Names texts;
    std::transform(sessions.begin(), sessions.end(), std::back_inserter(texts), describe);
    return enumeration(texts);
}

std::string number(const SysfsSession& session) {
    return std::to_string(session.number);
}

template <class Condition>
Sessions those(const Sessions& sessions, Condition condition) {
    Sessions found;
    std::copy_if(sessions.begin(), sessions.end(), std::back_inserter(found), condition);
    return found;
}

Check states(const Sessions& sessions) {
    const std::string name = "sessions";
    const Sessions away = those(sessions, [](const auto& session) { return session.state != "logged_in"; });
    if (away.empty()) return ok(name, std::to_string(sessions.size()) + " live, all logged in");
    const auto describe = [](const SysfsSession& session) {
        return number(session) + " to " + session.target + " at " + portal_text(session) + " (" +
               session.state + ")";
    };
    return {name, Result::problem,
            "not logged in: " + listed(away, describe) +
                ": the target does not answer, or a login is on its way. Such a session counts, stop answers "
                "189, and "
                "its disks are listed as if nothing had happened",
            "see whether the portal can be reached; \"opinitctl logout\" gives a session up"};
}

Check numbers(const Sessions& sessions) {
    const std::string name = "session numbers";
    const Sessions great =
        those(sessions, [](const auto& session) { return session.number >= first_beyond_one_byte; });
    if (great.empty()) return ok(name, "all fit into the one byte that the interface has for them");
    const bool mistakable = std::any_of(great.begin(), great.end(), [&sessions](const auto& session) {
        return std::any_of(sessions.begin(), sessions.end(), [&session](const auto& other) {
            return other.number != session.number &&
                   other.number % first_beyond_one_byte == session.number % first_beyond_one_byte;
        });
    });
    return {name, mistakable ? Result::problem : Result::note,
            listed(great, number) + " beyond 255: agents see the low 8 bits" +
                (mistakable ? ", which another session has too: a logout may end that one instead" : ""),
            "log out by iscsiadm -m session -r NUMBER -u"};
}

/// The name that the interface gives for every session.
std::string recorded_name() {
    void* list = nullptr;
    unsigned int count = 0;
    _GetInitiatorNodeList(&list, &count, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(list, std::free);
    return list == nullptr ? "" : field_text(static_cast<_InitiatorNode*>(list)->initiator_name);
}

Check names(const Sessions& sessions) {
    const std::string name = "session names", recorded = recorded_name();
    const Sessions others = those(sessions, [&recorded](const auto& session) {
        return !session.initiator_name.empty() && session.initiator_name != recorded;
    });
    if (others.empty() || recorded.empty()) return ok(name, "made under the initiator's name as it is now");
    const auto describe = [](const SysfsSession& session) {
        return number(session) + " as " + session.initiator_name;
    };
    return {name, Result::note,
            "made under another initiator name: " + listed(others, describe) + "; session records say " +
                recorded,
            "log out of them and in again, if the targets know the new name"};
}

Check addresses(const Sessions& sessions) {
    const std::string name = "session addresses";
    const Sessions ipv6 =
        those(sessions, [](const auto& session) { return session.address.find(':') != std::string::npos; });
    if (ipv6.empty()) return ok(name, "all IPv4");
    return {name, Result::note,
            listed(ipv6, number) + " over IPv6: session records have no room for such an address",
            "see \"opinitctl sessions\""};
}

/// Those that the kernel has given up, sessions that came back too late included.
std::string offline_disks(const Sessions& sessions) {
    OpenInitiator initiator;
    Names texts;
    for (const SysfsSession& session : sessions) {
        for (const Disk& disk : disks_of(initiator, session.number)) {
            if (disk.state.empty() || disk.state == "running") continue;
            texts.push_back((disk.device.empty() ? "LUN " + std::to_string(disk.lun) : disk.device) +
                            " of session " + number(session) + " (" + disk.state + ")");
        }
    }
    return enumeration(texts);
}

Check disks(const Sessions& sessions) {
    const std::string name = "disks";
    if (check_stack_running() == 0) return {name, Result::note, "not listed while the stack does not run"};
    try {
        const std::string offline = offline_disks(sessions);
        if (offline.empty()) return ok(name, "none is offline");
        return {name, Result::problem, "agents see them as if nothing had happened: " + offline,
                "once the session is logged in: echo running >/sys/block/DEVICE/device/state"};
    } catch (const Failure& failure) {
        return {name, Result::note, failure.what()};
    }
}

}  // namespace

Checks examine_sessions() {
    const std::string directory = "/sys/class/iscsi_session";
    if (const int error = open_error(directory, O_RDONLY); error != 0 && error != ENOENT) {
        return {{"sessions", Result::problem, reason(directory, error) + ": live sessions are not known",
                 remedy_for(error, directory, "see why it cannot be read")}};
    }
    const Sessions sessions = sysfs_sessions();
    return {states(sessions), numbers(sessions), names(sessions), addresses(sessions), disks(sessions)};
}

}  // namespace opinitctl::doctor
