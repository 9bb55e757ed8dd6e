// discover, targets, portals, remove, forget.
#include <algorithm>
#include <vector>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "errors.h"
#include "host/daemon.h"
#include "host/node_records.h"
#include "host/portal.h"
#include "host/sessions.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "running/operation.h"
#include "shown/diagnostics.h"
#include "shown/names.h"

namespace opinitctl {
namespace {

using Portals = std::vector<TargetPortal>;

struct Target {
    std::string name;
    bool persistent;
    Portals portals;
    Sessions sessions;
};

Value portals_of(const Target& target) {
    Values portals;
    for (const TargetPortal& each : target.portals) {
        portals.push_back(
            Fields{{"portal", text_or_null(each.portal)}, {"group_tag", number_or_null(each.group_tag)}});
    }
    return portals;
}

Value sessions_of(const Target& target) {
    Values numbers;
    for (const Session& session : target.sessions) numbers.emplace_back(session.number);
    return numbers;
}

const Columns<Target> target_columns = {
    {"target", [](const Target& target) -> Value { return target.name; }, Look::text},
    {"logged_in", [](const Target& target) -> Value { return !target.sessions.empty(); }},
    {"persistent", [](const Target& target) -> Value { return target.persistent; }},
    {"sessions", sessions_of, Look::list, Shown::on_request},
    {"portals", portals_of, Look::list},
};

const Columns<TargetPortal> portal_columns(target_portal_columns().begin() + 1,
                                           target_portal_columns().end());

// In the order of the library's answer, each once: it names a target again for every discovery that found it.
Names names_of(const std::vector<_TargetInformation>& records) {
    Names names;
    for (const _TargetInformation& record : records) {
        const std::string name = field_text(record.target_name);
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

/// The targets that the last discovery at a portal found, or that have a node record there.
Names known_at(const Portal& portal) {
    Portals portals = discovered_at(portal);
    const Portals records = node_records_at(portal);
    portals.insert(portals.end(), records.begin(), records.end());
    return targets_of(portals);
}

// That nothing was found says nothing of why, and is no answer to who asked for no particular target.
void require_discovery(ISCSI_Initiator& initiator, const std::string& what, const Answer& found) {
    if (found.status != iscsi_status::target_not_found) return require_success(initiator, what, found);
    Failure failure("cannot " + what + ": " + std::to_string(found.status) + ": " +
                    (daemon_state() == Daemon::half ? half_a_daemon
                     : found.said.empty()           ? "the portal offers nothing"
                                                    : "no target was found"));
    failure.status = found.status;
    failure.said = found.said;
    throw failure;
}

void discover(const Portal& at, unsigned int limit, const Output& output) {
    Portal portal = at;
    OpenInitiator initiator;
    kvlinopinitr::AnswerBuffer<_TargetInformation> answer;
    unsigned int count = 0;
    const Names before = known_at(portal);
    const Task task = {"discover targets at " + portal.given, std::chrono::seconds(limit)};
    try {
        const Answer found = run(task, [&] {
            return initiator.DiscoverTarget(0, portal.address.data(), portal.port, nullptr, answer.data(),
                                            &count, answer.bytes());
        });
        require_discovery(initiator, task.what, found);
    } catch (const Failure&) {
        const Names gone = without(before, known_at(portal));
        if (!gone.empty()) {
            diagnose("what was recorded of " + enumeration(gone) + " at " + portal.given + " is gone");
        }
        throw;
    }
    Portals portals = discovered_at(portal);
    // A discovery answers names only; the portals stand where it recorded them.
    for (const std::string& name : without(names_of(answer.records()), targets_of(portals))) {
        portals.push_back({name, "", {}});
    }
    output.list(target_portal_columns(), portals);
}

/// What the library lists. It runs commands that delete discovery records without targets.
Names listed_targets(ISCSI_Initiator& initiator) {
    kvlinopinitr::AnswerBuffer<_TargetInformation> answer;
    const Task task = {"list the targets"};
    // Nothing recorded is an empty list to whoever asks what is recorded.
    const Answer listed = run(task, [&] {
        const unsigned int status = initiator.GetTargetList(the_initiator, 0, answer.data(), answer.bytes());
        return status == iscsi_status::target_not_found ? iscsi_status::success : status;
    });
    require_success(initiator, task.what, listed);
    return names_of(answer.records());
}

void show_targets(const Output& output) {
    OpenInitiator initiator;
    Names names = listed_targets(initiator);
    const Portals records = node_records();
    const Names unlisted = without(targets_of(records), names);
    if (!unlisted.empty()) {
        diagnose("recorded, but not in the library's list of targets, so that it cannot remove them: " +
                 enumeration(unlisted));
    }
    names.insert(names.end(), unlisted.begin(), unlisted.end());
    const Sessions live = live_sessions();
    if (!live.empty()) require_running_or_tell(false);
    std::vector<Target> targets;
    for (const std::string& name : names) {
        Portals portals = portals_to(name, records);
        const bool persistent = std::any_of(portals.begin(), portals.end(), starts_automatically);
        Sessions sessions = live;
        std::erase_if(sessions, [&name](const Session& session) { return session.target != name; });
        targets.push_back({name, persistent, std::move(portals), std::move(sessions)});
    }
    output.list(target_columns, targets);
}

Portals portals_in(const std::string& target, const std::vector<_TargetPortalGroups>& records) {
    Portals portals;
    for (const _TargetPortalGroups& record : records) {
        const std::string address = known_address(record.address);
        if (address.empty()) continue;
        const std::uint32_t port = record.port;
        portals.push_back({target, portal_text(address, std::to_string(port)), record.tpgt});
    }
    return portals;
}

void show_portals(std::string target, const Output& output) {
    const Portals recorded = portals_to(target, node_records());
    OpenInitiator initiator;
    kvlinopinitr::AnswerBuffer<_TargetPortalGroups> answer;
    const Task task = {"list the portals of " + target};
    const Answer listed = run(task, [&] {
        return initiator.GetList(the_initiator, LIST_PORTAL_GROUPS, answer.data(), answer.bytes(),
                                 target.data());
    });
    if (listed.status == iscsi_status::failure) {
        throw Failure("there is no recorded target " + target + "; see \"opinitctl targets\"",
                      exit_not_there);
    }
    require_success(initiator, task.what, listed);
    Portals portals = portals_in(target, answer.records());
    // The library's records have no room for the others' addresses.
    for (const TargetPortal& each : recorded) {
        if (each.portal.starts_with('[')) portals.push_back(each);
    }
    output.list(portal_columns, portals);
}

// open-iscsi deletes what it can before it says that a session is in the way.
std::string removed_all_the_same(const Names& before, const Portal& portal) {
    const Names gone = without(before, targets_of(node_records_at(portal)));
    return gone.empty() ? "" : "the records of " + enumeration(gone) + " are gone all the same";
}

void remove(const Portal& at, const Output& output) {
    Portal portal = at;
    OpenInitiator initiator;
    const Names before = targets_of(node_records_at(portal));
    const Task task = {"remove the targets at " + portal.given};
    const Answer removed = run(task, [&] {
        return initiator.RemoveTarget(the_initiator, portal.address.data(), portal.port, nullptr);
    });
    require_success(initiator, task.what, removed, removed_all_the_same(before, portal));
    const Names left = targets_of(node_records_at(portal));
    if (!left.empty()) {
        throw contradiction(removed,
                            "there are still node records of " + enumeration(left) + " at " + portal.given);
    }
    output.done("removed the node records at " + portal.given, {{"targets", values_of(before)}});
}

void forget(const Portal& at, const Output& output) {
    Portal portal = at;
    // Before anything is done: who may not read them cannot see what became of them.
    Portals records = node_records_at(portal);
    OpenInitiator initiator;
    const Task task = {"remove the automatic startup at " + portal.given};
    const Answer forgotten = run(task, [&] {
        return initiator.RemovePersistentTarget(the_initiator, nullptr, portal.address.data(), portal.port,
                                                nullptr);
    });
    records = node_records_at(portal);
    if (forgotten.status == iscsi_status::failure && records.empty()) {
        throw Failure("there are no node records at " + portal.given, exit_not_there);
    }
    require_success(initiator, task.what, forgotten);
    std::erase_if(records, [](const TargetPortal& record) { return !starts_automatically(record); });
    if (!records.empty()) {
        throw contradiction(forgotten, enumeration(targets_of(records)) + " would still start automatically");
    }
    output.done("targets at " + portal.given + " no longer start automatically");
}

Given<Portal> add_portal(const CommandLine& command) {
    const auto portal = std::make_shared<Portal>();
    command.add("PORTAL", into(*portal), portal_description).required();
    return portal;
}

void declare_discover(const CommandLine& command, Output& output) {
    const auto portal = add_portal(command);
    const auto limit = std::make_shared<unsigned int>(0);
    add_time_limit(command, *limit);
    add_listing_options(command, output, headings_of(target_portal_columns()));
    command.on_run([portal, limit, &output] { discover(*portal, *limit, output); });
}

void declare_targets(const CommandLine& command, Output& output) {
    add_listing_options(command, output, headings_of(target_columns));
    command.on_run([&output] { show_targets(output); });
}

void declare_portals(const CommandLine& command, Output& output) {
    const auto target = add_required(command, "TARGET", "Name of the target");
    add_listing_options(command, output, headings_of(portal_columns));
    command.on_run([target, &output] { show_portals(*target, output); });
}

template <void (*Run)(const Portal&, const Output&)>
void declare_portal_command(const CommandLine& command, Output& output) {
    const auto portal = add_portal(command);
    command.on_run([portal, &output] { Run(*portal, output); });
}

constexpr Command commands[] = {
    {"discover",
     "Ask a portal for its targets and record them. What was recorded of the portal before is replaced: "
     "records "
     "go back to the settings of iscsid.conf, without automatic startup and CHAP",
     declare_discover},
    {"targets", "List the recorded targets with their portals and sessions", declare_targets},
    {"portals", "List the portals of a recorded target", declare_portals},
    {"remove", "Delete the node records of all targets at a portal, those in use excepted",
     declare_portal_command<remove>},
    {"forget", "Stop all targets at a portal from starting automatically", declare_portal_command<forget>},
};

}  // namespace

std::span<const Command> target_commands() {
    return commands;
}

}  // namespace opinitctl
