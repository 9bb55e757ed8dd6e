// Live sessions that are not what they seem.
#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "doctor/check.h"
#include "doctor/host.h"
#include "errors.h"
#include "host/disks.h"
#include "host/host_files.h"
#include "host/sessions.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/names.h"

namespace opinitctl::doctor {
namespace {

constexpr unsigned int first_beyond_one_byte = 256;

std::string number(const Session& session) {
    return std::to_string(session.number);
}

/// Those of which something is to be said, and what.
template <class Condition, class Description>
Names those(const Sessions& sessions, Condition condition, Description description) {
    Names texts;
    for (const Session& session : sessions) {
        if (condition(session)) texts.push_back(description(session));
    }
    return texts;
}

Check states(const Sessions& sessions) {
    const Names away = those(
        sessions, [](const auto& session) { return session.state != "logged_in"; },
        [](const auto& session) {
            return number(session) + " to " + session.target + " at " + session.portal + " (" +
                   session.state + ")";
        });
    return verdict({"sessions", Result::problem,
                    "not logged in, as the target does not answer or a login is on its way; such a session "
                    "counts, stop answers 189, and its disks are listed as if nothing had happened: ",
                    "see whether the portal can be reached; \"opinitctl logout\" gives a session up"},
                   away, std::to_string(sessions.size()) + " live, all logged in");
}

Check numbers(const Sessions& sessions) {
    const auto is_great = [](const auto& session) { return session.number >= first_beyond_one_byte; };
    const bool mistakable = std::any_of(sessions.begin(), sessions.end(), [&](const auto& session) {
        return is_great(session) &&
               std::any_of(sessions.begin(), sessions.end(), [&session](const auto& other) {
                   return other.number != session.number &&
                          other.number % first_beyond_one_byte == session.number % first_beyond_one_byte;
               });
    });
    return verdict(
        {"session numbers", mistakable ? Result::problem : Result::note,
         mistakable ? "of the number agents see the low 8 bits, which another session has too, so that a "
                      "logout may end that one instead: "
                    : "of the number agents see the low 8 bits: ",
         "log out by iscsiadm -m session -r NUMBER -u"},
        those(sessions, is_great, number), "all fit into the one byte that the interface has for them");
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
    const std::string recorded = recorded_name();
    const Names others = those(
        sessions,
        [&recorded](const auto& session) {
            return !recorded.empty() && !session.initiator_name.empty() && session.initiator_name != recorded;
        },
        [](const auto& session) { return number(session) + " as " + session.initiator_name; });
    return verdict({"session names", Result::note,
                    "made under another initiator name than session records say, " + recorded + ": ",
                    "log out of them and in again, if the targets know the new name"},
                   others, "made under the initiator's name as it is now");
}

Check addresses(const Sessions& sessions) {
    const Names ipv6 = those(
        sessions, [](const auto& session) { return session.portal.starts_with('['); }, number);
    return verdict({"session addresses", Result::note,
                    "over IPv6, for which session records have no room: ", "see \"opinitctl sessions\""},
                   ipv6, "all IPv4");
}

/// Those that the kernel has given up, sessions that came back too late included.
Names offline_disks(const Sessions& sessions) {
    Names texts;
    for (const Session& session : sessions) {
        for (const Disk& disk : disks_of(session)) {
            if (disk.state.empty() || disk.state == "running") continue;
            texts.push_back((disk.device.empty() ? "LUN " + std::to_string(disk.lun) : disk.device) +
                            " of session " + number(session) + " (" + disk.state + ")");
        }
    }
    return texts;
}

Check disks(const Sessions& sessions) {
    return verdict({"disks", Result::problem, "agents see them as if nothing had happened: ",
                    "once the session is logged in: echo running >/sys/block/DEVICE/device/state"},
                   offline_disks(sessions), "none is offline");
}

}  // namespace

Checks examine_sessions() {
    const std::string directory = "/sys/class/iscsi_session";
    if (const int error = open_error(directory, O_RDONLY); error != 0 && !nothing_there(error)) {
        return {{"sessions", Result::problem, reason(directory, error) + ": live sessions are not known",
                 remedy_for(error, directory, "see why it cannot be read")}};
    }
    const Sessions sessions = live_sessions();
    Checks checks = {states(sessions), numbers(sessions), names(sessions), addresses(sessions)};
    try {
        checks.push_back(disks(sessions));
    } catch (const Failure& failure) {
        checks.push_back({"disks", Result::problem, failure.what(), "see why it cannot be read"});
    }
    return checks;
}

}  // namespace opinitctl::doctor
