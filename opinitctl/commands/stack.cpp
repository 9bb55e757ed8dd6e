// status, start, stop, version, message.
#include <sys/wait.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "commands/listing_options.h"
#include "errors.h"
#include "host/daemon.h"
#include "host/sessions.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "running/operation.h"
#include "shown/diagnostics.h"

namespace opinitctl {
namespace {

struct Status {
    bool installed;
    bool running;
    Value daemon;
    Value distribution;
    Value initiator_name;
    Value sessions;
    std::string library;
};

const Columns<Status> status_columns = {
    {"installed", [](const Status& status) -> Value { return status.installed; }, Look::state},
    {"running", [](const Status& status) -> Value { return status.running; }, Look::state},
    {"daemon", [](const Status& status) { return status.daemon; }, Look::state},
    {"distribution", [](const Status& status) { return status.distribution; }},
    {"initiator_name", [](const Status& status) { return status.initiator_name; }},
    {"sessions", [](const Status& status) { return status.sessions; }},
    {"library", [](const Status& status) -> Value { return status.library; }},
};

std::string library_version(ISCSI_Initiator& initiator) {
    _Version version = {};
    initiator.GetLibVersion(&version);
    return field_text(version.name) + ' ' + std::to_string(version.version >> 16) + '.' +
           std::to_string(version.version & 0xffff);
}

Value distribution() {
    int code = DISTRO_UNKNOWN;
    if (get_linux_distro(&code) == iscsi_status::cannot_open_file) return {};
    if (code == DISTRO_UNKNOWN) return "neither Red Hat nor SUSE";
    return code == DISTRO_REDHAT ? "Red Hat" : "SUSE";
}

// Not by the operations: each would check the stack again.
Value initiator_name() {
    void* list = nullptr;
    unsigned int count = 0;
    _GetInitiatorNodeList(&list, &count, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(list, std::free);
    if (list == nullptr) return {};
    return field_text(static_cast<_InitiatorNode*>(list)->initiator_name);
}

Value session_count() {
    unsigned int count = 0;
    return _QuerySessionCount(&count) == 0 ? Value(count) : Value();
}

const char* name_of(Daemon daemon) {
    switch (daemon) {
        case Daemon::whole:
            return "running";
        case Daemon::half:
            return "half";
        default:
            return "stopped";
    }
}

void show_status(const Output& output) {
    OpenInitiator initiator;
    const Daemon daemon = daemon_state();
    const bool installed = initiator.IsServiceAvailable() != 0;
    // Made when the object was constructed.
    const bool running = op_initiator_started != 0;
    output.record(status_columns,
                  Status{installed, running, name_of(daemon), distribution(), initiator_name(),
                         running ? session_count() : Value(), library_version(initiator)});
    if (daemon == Daemon::half) diagnose(half_a_daemon);
}

// Statuses of start and stop without a message of their own.
std::string script_hint(unsigned int status) {
    const int wait_status = static_cast<int>(status);
    if (status < 256 || status == iscsi_status::module_not_loaded || !WIFEXITED(wait_status)) return "";
    return "the init script ended with exit status " + std::to_string(WEXITSTATUS(wait_status));
}

void start(const Output& output) {
    OpenInitiator initiator;
    const bool ran_before = op_initiator_started != 0;
    const Task task = {"start the stack"};
    const Answer answer = run(task, [&] { return initiator.StartInitiator(the_initiator); });
    require_success(initiator, task.what, answer, script_hint(answer.status));
    if (check_stack_running() == 0) throw contradiction(answer, "the stack does not run");
    if (daemon_state() == Daemon::half) throw Failure(half_a_daemon);
    output.done(ran_before ? "the stack is running already" : "the stack is running",
                {{"changed", !ran_before}});
}

// A script may come back before the daemon has put its things in order.
bool daemon_ends() {
    constexpr int most_looks = 20;
    for (int look = 0; look < most_looks; ++look) {
        if (daemon_state() == Daemon::none) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

Names session_names() {
    Names names;
    for (const unsigned int number : session_numbers()) names.push_back(std::to_string(number));
    return names;
}

void stop(const Output& output) {
    OpenInitiator initiator;
    const Task task = {"stop the stack"};
    const Answer answer = run(task, [&] { return initiator.StopInitiator(the_initiator); });
    const bool ran_before = answer.status != iscsi_status::initiator_not_started;
    if (ran_before) require_success(initiator, task.what, answer, script_hint(answer.status));
    if (const Names live = session_names(); !ran_before && !live.empty()) {
        throw Failure("the stack is stopped already, and yet sessions are live in the kernel: " +
                      enumeration(live) + " (start the stack to log out of them)");
    }
    if (!daemon_ends()) {
        if (ran_before) throw contradiction(answer, "the daemon still runs");
        throw Failure(
            "the kernel module is not loaded, and yet a daemon runs, which the library does not stop");
    }
    output.done(ran_before ? "the stack is stopped" : "the stack is stopped already",
                {{"changed", ran_before}});
}

struct Version {
    std::string library;
    _InitiatorVersion module;
};

const Columns<Version> version_columns = {
    {"library", [](const Version& version) -> Value { return version.library; }},
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
    {"code", [](const Message& message) -> Value { return message.code; }},
    {"message", [](const Message& message) -> Value { return message.text; }},
};

void show_message(std::uint32_t code, const Output& output) {
    OpenInitiator initiator;
    const std::string text = message_of(initiator, code);
    if (text.empty()) throw Failure("status " + std::to_string(code) + " has no message", exit_not_there);
    output.json ? output.record<Message>(message_columns, {code, text}) : output.done(text);
}

void declare_status(const CommandLine& status, Output& output) {
    add_record_options(status, output, headings_of(status_columns));
    status.on_run([&output] { show_status(output); });
}

template <void (*Run)(const Output&)>
void declare_change(const CommandLine& command, Output& output) {
    command.on_run([&output] { Run(output); });
}

void declare_version(const CommandLine& version, Output& output) {
    add_record_options(version, output, headings_of(version_columns));
    version.on_run([&output] { show_version(output); });
}

void declare_message(const CommandLine& message, Output& output) {
    const auto code = std::make_shared<std::uint32_t>();
    const auto reader = [code](const std::string& word) {
        *code = number_from(0, std::numeric_limits<std::uint32_t>::max(), word);
    };
    message.add("CODE", reader, "Status code, as other commands report it").required();
    message.on_run([code, &output] { show_message(*code, output); });
}

constexpr Command commands[] = {
    {"status", "Show the stack: installed, running, initiator, sessions", declare_status},
    {"start", "Load the kernel module and start the daemon", declare_change<start>},
    {"stop", "Stop the daemon, unless there are sessions", declare_change<stop>},
    {"version", "Show the versions of the library and of the kernel module", declare_version},
    {"message", "Show the message of a status code", declare_message},
};

}  // namespace

std::span<const Command> stack_commands() {
    return commands;
}

}  // namespace opinitctl
