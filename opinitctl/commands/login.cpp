// login, logout.
#include <unistd.h>

#include <array>
#include <vector>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "commands/logging_in.h"
#include "errors.h"
#include "host/disks.h"
#include "host/host_files.h"
#include "host/sessions.h"
#include "kvlinopinitr/open_initiator.h"
#include "running/operation.h"
#include "shown/diagnostics.h"
#include "shown/names.h"
#include "shown/terminal.h"

namespace opinitctl {
namespace {

using Numbers = std::vector<unsigned int>;

// The interface would take such a number for the session that has its low 8 bits.
Failure not_to_be_named(unsigned int number) {
    const unsigned int other = number % 256;
    const std::string text = std::to_string(number);
    return Failure(
        "cannot log out of session " + text + ": the interface carries the low 8 bits of a number " +
        (session_exists(other) ? "and would end session " + std::to_string(other) + " instead" : "only") +
        " (\"iscsiadm -m session -r " + text + " -u\" does it)");
}

void name_uses(const BlockDevice& device, Names& uses) {
    if (!device.mount_points.empty()) {
        uses.push_back(device.name + " is mounted at " + enumeration(device.mount_points));
    }
    for (const BlockDevice& user : device.users) {
        if (user.type != "part") uses.push_back(device.name + " is held by " + user.name);
        name_uses(user, uses);
    }
}

Names uses_of(unsigned int session) {
    const Mounts mounts;
    Names uses;
    for (const Disk& disk : disks_of(live_session(session))) {
        if (!disk.device.empty()) name_uses(block_device(disk.device, mounts), uses);
    }
    return uses;
}

void require_unused(unsigned int number) {
    const Names uses = uses_of(number);
    if (uses.empty()) return;
    const std::string in_use = "session " + std::to_string(number) + " is in use: " + enumeration(uses);
    if (isatty(STDIN_FILENO) != 0 && agrees(in_use + ". Log out all the same")) return;
    throw Failure(in_use + " (--force logs out all the same)");
}

void log_out(ISCSI_Initiator& initiator, unsigned int number, bool by_force) {
    const bool exists = session_exists(number);
    if (!can_be_named(number)) throw exists ? not_to_be_named(number) : no_such_session(number);
    if (exists && !by_force) require_unused(number);
    std::array<unsigned char, 16> session = {static_cast<unsigned char>(number)};
    const Task task = {"log out of session " + std::to_string(number)};
    const Answer answer = run(task, [&] { return initiator.LogoutTarget(the_initiator, session.data()); });
    require_success(initiator, task.what, answer);
    if (session_exists(number)) {
        throw contradiction(answer, "session " + std::to_string(number) + " is still there");
    }
}

std::string sentence(const Numbers& ended) {
    if (ended.empty()) return "no session was ended";
    std::string text = ended.size() == 1 ? "logged out of session" : "logged out of sessions";
    for (const unsigned int number : ended) text += ' ' + std::to_string(number);
    return text;
}

struct LogoutRequest {
    Names sessions_or_targets;
    bool all = false;
    bool by_force = false;
};

Numbers numbers_of(const Sessions& sessions) {
    Numbers numbers;
    for (const Session& session : sessions) numbers.push_back(session.number);
    return numbers;
}

Numbers sessions_meant(const LogoutRequest& request) {
    if (request.all) return numbers_of(live_sessions());
    Numbers meant;
    for (const std::string& name : request.sessions_or_targets) {
        if (const auto number = number_in(name)) {
            meant.push_back(*number);
            continue;
        }
        const Numbers some = numbers_of(sessions_to(name));
        if (some.empty()) throw Failure("there is no session to " + name, exit_not_there);
        meant.insert(meant.end(), some.begin(), some.end());
    }
    return meant;
}

void log_out(const LogoutRequest& request, const Output& output) {
    if (request.all != request.sessions_or_targets.empty()) {
        throw UsageError("logout needs sessions, targets or --all");
    }
    OpenInitiator initiator;
    const Numbers meant = sessions_meant(request);
    Numbers ended;
    for (const unsigned int number : meant) {
        try {
            log_out(initiator, number, request.by_force);
            ended.push_back(number);
        } catch (const Interrupted&) {
            throw;
        } catch (const Failure& failure) {
            if (meant.size() == 1) throw;
            report(failure);
        }
    }
    output.done(sentence(ended), {{"sessions", ended}});
    if (ended.size() < meant.size()) {
        throw Failure("logged out of " + std::to_string(ended.size()) + " of " +
                      std::to_string(meant.size()) + " sessions");
    }
}

void add_chap(const CommandLine& command, LoginRequest& request) {
    const Option user = command.add("--chap-user NAME", into(request.user), "CHAP name of this initiator");
    const Option user_in =
        command.add("--chap-user-in NAME", into(request.user_in), "CHAP name of the target (mutual CHAP)");
    constexpr const char* secret = "File with its secret; \"-\" for standard input; asked for if left out";
    command.add("--chap-secret-file FILE", into(request.secret_file), secret).needs(user);
    command.add("--chap-secret-in-file FILE", into(request.secret_in_file), secret).needs(user_in);
    user_in.needs(user);
}

void declare_login(const CommandLine& command, Output& output) {
    const auto request = std::make_shared<LoginRequest>();
    const Reader portal_reader = [request](const std::string& word) { request->portal = portal_in(word); };
    const Option target =
        command.add("TARGET", into(request->target), "Name of a target that was discovered");
    const Option portal = command.add("PORTAL", portal_reader, portal_description);
    const Option all =
        command.add("--all PORTAL", portal_reader, "Log in to every target that is recorded at the portal");
    all.excludes(target).excludes(portal);
    add_chap(command, *request);
    command.add_flag("--persistent", request->persistent, "Log in at every start of the stack");
    command.add_flag("--header-digest", request->header_digest, "Ask for CRC32C header digests");
    command.add_flag("--data-digest", request->data_digest, "Ask for CRC32C data digests");
    add_time_limit(command, request->limit);
    add_listing_options(command, output, headings_of(session_columns()));
    command.add_note(
        "Startup, digests and CHAP are settings of the portal's node records: they reach every target that "
        "is "
        "recorded there.");
    command.on_run([request, &output] {
        if (request->target.empty() && !request->portal) {
            throw UsageError("login needs a TARGET, or --all PORTAL");
        }
        log_in(*request, output);
    });
}

void declare_logout(const CommandLine& command, Output& output) {
    const auto request = std::make_shared<LogoutRequest>();
    command.add_repeatable("SESSION|TARGET", into(request->sessions_or_targets),
                           "Number of a session, or the target whose sessions are meant");
    command.add_flag("--all", request->all, "Log out of every session");
    command.add_flag("--force", request->by_force, "Log out of sessions whose disks are in use, too");
    command.on_run([request, &output] { log_out(*request, output); });
}

constexpr Command commands[] = {
    {"login", "Log in to a target, or to all of a portal, and show the sessions", declare_login},
    {"logout", "Log out of a session, of a target, or of all", declare_logout},
};

}  // namespace

std::span<const Command> login_commands() {
    return commands;
}

}  // namespace opinitctl
