// metrics.
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "commands/open_metrics.h"
#include "commands/replaced_file.h"
#include "errors.h"
#include "host/live_disks.h"
#include "host/sysfs_sessions.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl {
namespace {

using Sessions = std::vector<SysfsSession>;

Gauge sessions_by_state(const Sessions& sessions) {
    Gauge gauge = {"opinit_sessions", "", "Live sessions by target and state.", {}};
    for (const SysfsSession& session : sessions) {
        ++gauge.samples[{{"target", session.target}, {"state", session.state}}];
    }
    return gauge;
}

void count_luns(ISCSI_Initiator& initiator, const SysfsSession& session, Gauge& luns, Gauge& bytes) {
    const Labels labels = {{"target", session.target}, {"portal", portal_text(session)}};
    const std::vector<Disk> disks = disks_of(initiator, session.number);
    luns.samples[labels] += disks.size();
    std::uint64_t& sum = bytes.samples[labels];
    for (const Disk& disk : disks) sum += disk.size.value_or(0);
}

void count_luns(const Sessions& sessions, Gauge& luns, Gauge& bytes) {
    // The interface does not tell of them while the stack does not run.
    if (check_stack_running() == 0) return;
    OpenInitiator initiator;
    for (const SysfsSession& session : sessions) {
        try {
            count_luns(initiator, session, luns, bytes);
        } catch (const Failure&) {
            // The session has gone since it was listed.
        }
    }
}

Gauge yes_or_no(const std::string& name, const std::string& help, int answer) {
    return {name, "", help, {{{}, answer != 0}}};
}

std::vector<Gauge> measure() {
    const Sessions sessions = sysfs_sessions();
    Gauge luns = {"opinit_luns", "", "LUNs of the live sessions by target and portal.", {}};
    Gauge bytes = {"opinit_lun_size_bytes", "bytes", "Size of all their disks together.", {}};
    count_luns(sessions, luns, bytes);
    const auto daemons = static_cast<std::uint64_t>(check_iscsid_instances());
    return {
        yes_or_no("opinit_stack_installed", "Whether the stack counts as installed.",
                  check_stack_available()),
        yes_or_no("opinit_stack_running", "Whether the stack counts as running.", check_stack_running()),
        yes_or_no("opinit_module_loaded", "Whether the kernel module is loaded.", is_module_loaded()),
        {"opinit_daemon_processes", "", "Processes of the daemon; 2 stands for more, too.", {{{}, daemons}}},
        sessions_by_state(sessions),
        luns,
        bytes};
}

void show_metrics(const std::string& file, const Output& output) {
    if (output.json) throw UsageError("metrics are OpenMetrics text and have no other form");
    const std::string text = open_metrics(measure());
    file.empty() ? void(std::cout << text) : replace_file(file, text);
}

void declare(const CommandLine& metrics, Output& output) {
    const auto file = std::make_shared<std::string>();
    metrics.add("FILE", into(*file),
                "Replace this file in one step instead, such as one that node_exporter reads");
    metrics.on_run([file, &output] { show_metrics(*file, output); });
}

constexpr Command commands[] = {
    {"metrics", "Show sessions, LUNs and the state of the stack as OpenMetrics text", declare},
};

}  // namespace

std::span<const Command> metrics_commands() {
    return commands;
}

}  // namespace opinitctl
