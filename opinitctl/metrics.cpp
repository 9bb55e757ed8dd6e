// metrics.
#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "commands.h"
#include "errors.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "open_metrics.h"
#include "replaced_file.h"
#include "sysfs_sessions.h"

namespace opinitctl {
namespace {

using Disks = std::vector<_DiskInformation>;
using Sessions = std::vector<SysfsSession>;

Gauge sessions_by_state(const Sessions& sessions) {
    Gauge gauge = {"opinit_sessions", "", "Live sessions by target and state.", {}};
    for (const SysfsSession& session : sessions) {
        ++gauge.samples[{{"target", session.target}, {"state", session.state}}];
    }
    return gauge;
}

/// Nothing where the interface does not tell, as while the daemon is away.
std::optional<Disks> disks_of(ISCSI_Initiator& initiator, const SysfsSession& session) {
    // As text the interface takes any number.
    std::string number = std::to_string(session.number);
    kvlinopinitr::AnswerBuffer<_DiskInformation> answer;
    unsigned int count = 0;
    const unsigned int status = initiator.QueryDisks(reinterpret_cast<unsigned char*>(number.data()),
                                                     answer.data(), &count, answer.bytes());
    if (status != iscsi_status::success) return std::nullopt;
    // A session without LUNs answers a record all the same.
    return count == 0 ? Disks() : answer.records();
}

void count_luns(const Sessions& sessions, Gauge& luns, Gauge& bytes) {
    OpenInitiator initiator;
    for (const SysfsSession& session : sessions) {
        const std::optional<Disks> disks = disks_of(initiator, session);
        if (!disks) continue;
        const Labels labels = {{"target", session.target}, {"portal", portal_text(session)}};
        luns.samples[labels] += disks->size();
        std::uint64_t& sum = bytes.samples[labels];
        for (const _DiskInformation& disk : *disks) {
            sum += std::strtoull(field_text(disk.Size).c_str(), nullptr, 10);
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

void declare(CLI::App& metrics, Output& output) {
    const auto file = std::make_shared<std::string>();
    metrics.add_option("FILE", *file,
                       "Replace this file in one step instead, such as one that node_exporter reads");
    metrics.callback([file, &output] { show_metrics(*file, output); });
}

constexpr Command commands[] = {
    {"metrics", "Show sessions, LUNs and the state of the stack as OpenMetrics text", declare},
};

}  // namespace

std::span<const Command> metrics_commands() {
    return commands;
}

}  // namespace opinitctl
