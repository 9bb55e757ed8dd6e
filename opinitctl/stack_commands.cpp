// status, start, stop, version, message.
#include <sys/wait.h>

#include <string>

#include "arguments.h"
#include "commands.h"
#include "errors.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "listing_options.h"
#include "operation.h"

namespace opinitctl {
namespace {

struct Status {
    bool installed;
    bool running;
    Json distribution;
    Json initiator_name;
    Json sessions;
    std::string library;
};

const Columns<Status> status_columns = {
    {"installed", [](const Status& status) -> Json { return status.installed; }, Look::state},
    {"running", [](const Status& status) -> Json { return status.running; }, Look::state},
    {"distribution", [](const Status& status) { return status.distribution; }},
    {"initiator_name", [](const Status& status) { return status.initiator_name; }},
    {"sessions", [](const Status& status) { return status.sessions; }},
    {"library", [](const Status& status) -> Json { return status.library; }},
};

std::string library_version(ISCSI_Initiator& initiator) {
    _Version version = {};
    initiator.GetLibVersion(&version);
    return field_text(version.name) + ' ' + std::to_string(version.version >> 16) + '.' +
           std::to_string(version.version & 0xffff);
}

Json distribution() {
    int code = DISTRO_UNKNOWN;
    if (get_linux_distro(&code) == iscsi_status::cannot_open_file) return {};
    if (code == DISTRO_UNKNOWN) return "neither Red Hat nor SUSE";
    return code == DISTRO_REDHAT ? "Red Hat" : "SUSE";
}

Json initiator_name(ISCSI_Initiator& initiator) {
    _InitiatorNode node = {};
    unsigned int bytes = 0;
    if (initiator.GetInitiatorList(&node, &bytes) != iscsi_status::success) return {};
    return field_text(node.initiator_name);
}

Json session_count(ISCSI_Initiator& initiator) {
    unsigned int count = 0;
    return initiator.QuerySessionCount(&count) == iscsi_status::success ? Json(count) : Json();
}

void show_status(const Output& output) {
    OpenInitiator initiator;
    const Status status = {
        initiator.IsServiceAvailable() != 0, check_stack_running() != 0, distribution(),
        initiator_name(initiator),           session_count(initiator),   library_version(initiator)};
    output.record(status_columns, status);
}

// Statuses of start and stop without a message of their own.
std::string script_hint(unsigned int status) {
    if (status == iscsi_status::module_not_loaded) return "the kernel module iscsi_tcp does not load";
    const int wait_status = static_cast<int>(status);
    if (status < 256 || !WIFEXITED(wait_status)) return "";
    return "the init script ended with exit status " + std::to_string(WEXITSTATUS(wait_status));
}

using StackOperation = unsigned int (ISCSI_Initiator::*)(int);

void change_stack(StackOperation operation, const std::string& verb, const std::string& outcome,
                  const Output& output) {
    OpenInitiator initiator;
    const Task task = {verb + " the stack"};
    const Answer answer = run(task, [&] { return (initiator.*operation)(the_initiator); });
    require_success(initiator, task.what, answer, script_hint(answer.status));
    output.done("the stack is " + outcome);
}

struct Version {
    std::string library;
    _InitiatorVersion module;
};

const Columns<Version> version_columns = {
    {"library", [](const Version& version) -> Json { return version.library; }},
    {"module", [](const Version& version) { return text_or_null(field_text(version.module.module_name)); }},
    {"module_version",
     [](const Version& version) { return text_or_null(field_text(version.module.version)); }},
    {"module_text",
     [](const Version& version) { return text_or_null(field_text(version.module.module_text)); }},
};

void show_version(const Output& output) {
    OpenInitiator initiator;
    Version version = {library_version(initiator), {}};
    unsigned int bytes = 0;
    const unsigned int status =
        initiator.GetInitiatorVersion(reinterpret_cast<char*>(&version.module), &bytes);
    output.record(version_columns, version);
    require_success(initiator, "read the version of the kernel module", status);
}

struct Message {
    std::uint32_t code;
    std::string text;
};

const Columns<Message> message_columns = {
    {"code", [](const Message& message) -> Json { return message.code; }},
    {"message", [](const Message& message) -> Json { return message.text; }},
};

void show_message(const std::string& argument, const Output& output) {
    const std::uint32_t code = parse_number(argument, UINT32_MAX, "a status code");
    OpenInitiator initiator;
    const std::string text = initiator.GetErrStr(static_cast<int>(code));
    if (text.empty()) throw Failure("status " + argument + " has no message");
    output.json ? output.record<Message>(message_columns, {code, text}) : output.done(text);
}

void declare_status(CLI::App& status, Output& output) {
    add_record_options(status, output, headings_of(status_columns));
    status.callback([&output] { show_status(output); });
}

void declare_start(CLI::App& start, Output& output) {
    start.callback([&output] { change_stack(&ISCSI_Initiator::StartInitiator, "start", "running", output); });
}

void declare_stop(CLI::App& stop, Output& output) {
    stop.callback([&output] { change_stack(&ISCSI_Initiator::StopInitiator, "stop", "stopped", output); });
}

void declare_version(CLI::App& version, Output& output) {
    add_record_options(version, output, headings_of(version_columns));
    version.callback([&output] { show_version(output); });
}

void declare_message(CLI::App& message, Output& output) {
    const Text code = add_required(message, "CODE", "Status code, as other commands report it");
    message.callback([code, &output] { show_message(*code, output); });
}

constexpr Command commands[] = {
    {"status", "Show the stack: installed, running, initiator, sessions", declare_status},
    {"start", "Load the kernel module and start the daemon", declare_start},
    {"stop", "Stop the daemon, unless there are sessions", declare_stop},
    {"version", "Show the versions of the library and of the kernel module", declare_version},
    {"message", "Show the message of a status code", declare_message},
};

}  // namespace

std::span<const Command> stack_commands() {
    return commands;
}

}  // namespace opinitctl
