// discover, targets, portals, login, logout, remove, forget.
#include <algorithm>
#include <vector>

#include "answer_buffer.h"
#include "arguments.h"
#include "commands.h"
#include "errors.h"
#include "kvlinopinitr/open_initiator.h"
#include "listing_options.h"
#include "live_sessions.h"
#include "login.h"
#include "operation.h"
#include "portal.h"

namespace opinitctl {
namespace {

using Target = _TargetInformation;
using PortalRecord = _TargetPortalGroups;

constexpr const char* portal_description =
    "ADDRESS[:PORT] with an IPv4 address; the port is 3260 if left out";

constexpr const char* timeout_description = "Give up after so many seconds";
const CLI::Range timeout_range(1u, 86400u);

const Columns<Target> target_columns = {
    {"target", [](const Target& target) -> Json { return field_text(target.target_name); }},
    {"logged_in", [](const Target& target) -> Json { return target.logged_in != 0; }},
    {"persistent", [](const Target& target) -> Json { return target.persistent != 0; }},
};

// A discovery answers names only: it looks neither at sessions nor at node records.
const Columns<Target> discovered_columns(target_columns.begin(), target_columns.begin() + 1);

const Columns<PortalRecord> portal_columns = {
    {"portal",
     [](const PortalRecord& portal) -> Json {
         return portal_text(portal.address, std::uint32_t{portal.port});
     }},
    {"group_tag", [](const PortalRecord& portal) -> Json { return portal.tpgt; }},
};

void discover(const std::string& text, unsigned int limit, const Output& output) {
    Portal portal = parse_portal(text);
    OpenInitiator initiator;
    AnswerBuffer<Target> answer;
    unsigned int count = 0;
    const Task task = {"discover targets at " + text, std::chrono::seconds(limit),
                       "what an earlier discovery recorded of this portal is gone"};
    const Answer found = run(task, [&] {
        return initiator.DiscoverTarget(0, portal.address.data(), portal.port, nullptr, answer.data(), &count,
                                        answer.bytes());
    });
    require_success(initiator, task.what, found, "the portal offers nothing or was not reached");
    output.list(discovered_columns, answer.records());
}

void show_targets(const Output& output) {
    OpenInitiator initiator;
    AnswerBuffer<Target> answer;
    // Nothing recorded is an empty list to whoever asks what is recorded.
    const Task task = {"list the targets"};
    const Answer listed = run(task, [&] {
        const unsigned int result = initiator.GetTargetList(the_initiator, 0, answer.data(), answer.bytes());
        return result == iscsi_status::target_not_found ? iscsi_status::success : result;
    });
    require_success(initiator, task.what, listed);
    output.list(target_columns, answer.records());
}

void show_portals(std::string name, const Output& output) {
    OpenInitiator initiator;
    AnswerBuffer<PortalRecord> answer;
    const Task task = {"list the portals of " + name};
    const Answer listed = run(task, [&] {
        return initiator.GetList(the_initiator, LIST_PORTAL_GROUPS, answer.data(), answer.bytes(),
                                 name.data());
    });
    require_success(initiator, task.what, listed, "no such target; see \"opinitctl targets\"");
    output.list(portal_columns, answer.records());
}

void log_out(const std::string& number, const Output& output) {
    auto session = session_identifier(number);
    OpenInitiator initiator;
    const std::string out = "out of session " + std::to_string(session[0]);
    const Task task = {"log " + out};
    require_success(initiator, task.what,
                    run(task, [&] { return initiator.LogoutTarget(the_initiator, session.data()); }));
    output.done("logged " + out);
}

void remove(const std::string& text, const Output& output) {
    Portal portal = parse_portal(text);
    OpenInitiator initiator;
    const Task task = {"remove the targets at " + text};
    const Answer removed = run(task, [&] {
        return initiator.RemoveTarget(the_initiator, portal.address.data(), portal.port, nullptr);
    });
    require_success(initiator, task.what, removed,
                    removed.status == iscsi_status::session_active
                        ? "the records of other targets at this portal may be gone all the same"
                        : "");
    output.done("removed the node records at " + text);
}

void forget(const std::string& text, const Output& output) {
    Portal portal = parse_portal(text);
    OpenInitiator initiator;
    const Task task = {"remove the automatic startup at " + text};
    require_success(initiator, task.what, run(task, [&] {
                        return initiator.RemovePersistentTarget(the_initiator, nullptr, portal.address.data(),
                                                                portal.port, nullptr);
                    }));
    output.done("targets at " + text + " no longer start automatically");
}

using PortalCommand = void (*)(const std::string&, const Output&);

template <PortalCommand Run>
void declare_portal_command(CLI::App& command, Output& output) {
    const Text portal = add_required(command, "PORTAL", portal_description);
    command.callback([portal, &output] { Run(*portal, output); });
}

void declare_discover(CLI::App& command, Output& output) {
    add_listing_options(command, output, headings_of(discovered_columns));
    const Text portal = add_required(command, "PORTAL", portal_description);
    const auto limit = std::make_shared<unsigned int>(0);
    command.add_option("--timeout", *limit, timeout_description)->check(timeout_range);
    command.callback([portal, limit, &output] { discover(*portal, *limit, output); });
}

void declare_targets(CLI::App& targets, Output& output) {
    add_listing_options(targets, output, headings_of(target_columns));
    targets.callback([&output] { show_targets(output); });
}

void declare_portals(CLI::App& portals, Output& output) {
    const Text target = add_required(portals, "TARGET", "Name of the target");
    add_listing_options(portals, output, headings_of(portal_columns));
    portals.callback([target, &output] { show_portals(*target, output); });
}

void declare_login(CLI::App& command, Output& output) {
    const auto request = std::make_shared<LoginRequest>();
    command.add_option("TARGET", request->target, "Name of a target that was discovered")->required();
    command.add_option("PORTAL", request->portal, portal_description)->required();
    CLI::Option* const user = command.add_option(
        "--chap-user", request->user, "CHAP name of this initiator; asks for its secret if no file is given");
    CLI::Option* const secret = command.add_option("--chap-secret-file", request->secret_file,
                                                   "File with its secret; \"-\" for standard input");
    CLI::Option* const user_in =
        command.add_option("--chap-user-in", request->user_in, "CHAP name of the target (mutual CHAP)");
    CLI::Option* const secret_in = command.add_option("--chap-secret-in-file", request->secret_in_file,
                                                      "File with its secret; \"-\" for standard input");
    secret->needs(user);
    user_in->needs(user);
    secret_in->needs(user_in);
    command.add_flag("--persistent", request->persistent, "Log in at every start of the stack");
    command.add_flag("--header-digest", request->header_digest, "Ask for CRC32C header digests");
    command.add_flag("--data-digest", request->data_digest, "Ask for CRC32C data digests");
    command.add_option("--timeout", request->limit, timeout_description)->check(timeout_range);
    add_listing_options(command, output, headings_of(session_columns()));
    command.callback([request, &output] { log_in(*request, output); });
}

void declare_logout(CLI::App& command, Output& output) {
    const Text session = add_required(command, "SESSION", session_description);
    command.callback([session, &output] { log_out(*session, output); });
}

constexpr Command commands[] = {
    {"discover", "Ask a portal for its targets and record them", declare_discover},
    {"targets", "List the recorded targets", declare_targets},
    {"portals", "List the portals of a recorded target", declare_portals},
    {"login", "Log in to a target and show its session", declare_login},
    {"logout", "Log out of a session", declare_logout},
    {"remove", "Delete the node records of all targets at a portal", declare_portal_command<remove>},
    {"forget", "Stop all targets at a portal from starting automatically", declare_portal_command<forget>},
};

}  // namespace

std::span<const Command> target_commands() {
    return commands;
}

}  // namespace opinitctl
