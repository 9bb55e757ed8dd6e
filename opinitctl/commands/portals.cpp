// discover, remove, forget: what is recorded of a portal.
#include <algorithm>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "errors.h"
#include "host/daemon.h"
#include "host/node_records.h"
#include "host/portal.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"
#include "shown/names.h"

namespace opinitctl {
namespace {

using Portals = std::vector<TargetPortal>;

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
    output.done("removed the node records at " + portal.given, {{"targets", before}});
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
    {"remove", "Delete the node records of all targets at a portal, those in use excepted",
     declare_portal_command<remove>},
    {"forget", "Stop all targets at a portal from starting automatically", declare_portal_command<forget>},
};

}  // namespace

std::span<const Command> portal_commands() {
    return commands;
}

}  // namespace opinitctl
