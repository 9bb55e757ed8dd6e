// targets, portals.
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
    Value portals = Value::array();
    for (const TargetPortal& each : target.portals) {
        portals.push_back(
            {{"portal", text_or_null(each.portal)}, {"group_tag", number_or_null(each.group_tag)}});
    }
    return portals;
}

Value sessions_of(const Target& target) {
    Value numbers = Value::array();
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

void show_portals(const std::string& target, const Output& output) {
    const Portals portals = portals_to(target, node_records());
    if (portals.empty()) {
        throw Failure("there is no recorded target " + target + "; see \"opinitctl targets\"",
                      exit_not_there);
    }
    output.list(portal_columns, portals);
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

constexpr Command commands[] = {
    {"targets", "List the recorded targets with their portals and sessions", declare_targets},
    {"portals", "List the portals of a recorded target", declare_portals},
};

}  // namespace

std::span<const Command> target_commands() {
    return commands;
}

}  // namespace opinitctl
