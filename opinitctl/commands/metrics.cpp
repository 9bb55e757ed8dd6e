// metrics: sessions, LUNs and the stack as OpenMetrics text, in the subset that the older Prometheus text
// format has too: gauges only.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <system_error>

#include "commands/commands.h"
#include "errors.h"
#include "host/disks.h"
#include "host/node_records.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

struct Gauge {
    std::string name;  ///< ends with the unit where there is one
    std::string unit;
    std::string help;
    std::map<Labels, std::uint64_t> samples;
};

std::string escaped(const std::string& value) {
    std::string text;
    // What is not printable ASCII may be no UTF-8 either.
    for (const char character : ascii_text(value)) {
        if (character == '\\' || character == '"') text += '\\';
        text += character;
    }
    return text;
}

std::string label_set(const Labels& labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        text += (text.empty() ? "{" : ",") + name + "=\"" + escaped(value) + '"';
    }
    return text.empty() ? text : text + '}';
}

std::string text_of(const std::vector<Gauge>& gauges) {
    std::string text;
    for (const Gauge& gauge : gauges) {
        text += "# TYPE " + gauge.name + " gauge\n";
        if (!gauge.unit.empty()) text += "# UNIT " + gauge.name + ' ' + gauge.unit + '\n';
        text += "# HELP " + gauge.name + ' ' + gauge.help + '\n';
        for (const auto& [labels, value] : gauge.samples) {
            text += gauge.name + label_set(labels) + ' ' + std::to_string(value) + '\n';
        }
    }
    return text + "# EOF\n";
}

std::vector<Gauge> gauges_of(const Sessions& sessions) {
    Gauge by_state = {"opinit_sessions", "", "Live sessions by target, portal and state.", {}};
    Gauge luns = {"opinit_luns", "", "LUNs of the live sessions by target and portal.", {}};
    Gauge bytes = {"opinit_lun_size_bytes", "bytes", "Size of all their disks together.", {}};
    for (const Session& session : sessions) {
        Labels labels = {{"target", session.target}, {"portal", session.portal}};
        const std::vector<Disk> disks = disks_of(session);
        luns.samples[labels] += disks.size();
        std::uint64_t& sum = bytes.samples[labels];
        for (const Disk& disk : disks) sum += disk.size.value_or(0);
        labels.emplace_back("state", session.state);
        ++by_state.samples[labels];
    }
    return {by_state, luns, bytes};
}

Gauge missing_sessions(const Sessions& sessions) {
    Gauge gauge = {"opinit_missing_sessions",
                   "",
                   "Recorded portals of targets that are logged in to automatically, and have no session.",
                   {}};
    for (const TargetPortal& record : node_records()) {
        const bool is_live = std::any_of(sessions.begin(), sessions.end(), [&record](const auto& session) {
            return session.target == record.target && session.configured_portal == record.portal;
        });
        if (!is_live && starts_automatically(record)) {
            gauge.samples[{{"target", record.target}, {"portal", record.portal}}] = 1;
        }
    }
    return gauge;
}

Gauge yes_or_no(const std::string& name, const std::string& help, int answer) {
    return {name, "", help, {{{}, answer != 0}}};
}

std::vector<Gauge> measure() {
    const Sessions sessions = live_sessions();
    const auto daemons = static_cast<std::uint64_t>(check_iscsid_instances());
    std::vector<Gauge> gauges = gauges_of(sessions);
    gauges.push_back(missing_sessions(sessions));
    gauges.insert(
        gauges.end(),
        {yes_or_no("opinit_stack_installed", "Whether the stack counts as installed.",
                   check_stack_available()),
         yes_or_no("opinit_stack_running", "Whether the stack counts as running.", check_stack_running()),
         yes_or_no("opinit_module_loaded", "Whether the kernel module is loaded.", is_module_loaded()),
         {"opinit_daemon_processes",
          "",
          "Processes of the daemon; 2 stands for more, too.",
          {{{}, daemons}}}});
    return gauges;
}

void require(bool done, const std::string& path) {
    if (!done) throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

void write_into(const std::string& path, const std::string& content) {
    std::ofstream file(path);
    file << content;
    file.close();
    require(file.good(), path);
}

/// Beside the file that it is for, hidden, and not of its kind to whoever goes by the end of the name.
std::string temporary_name(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;
    std::string temporary = path.substr(0, name) + '.' + path.substr(name) + ".XXXXXX";
    const int fd = mkstemp(temporary.data());
    require(fd >= 0, path);
    close(fd);
    return temporary;
}

/// A reader finds the old or the new content, whole.
void replace(const std::string& path, const std::string& content) {
    const std::string temporary = temporary_name(path);
    try {
        write_into(temporary, content);
        require(chmod(temporary.c_str(), 0644) == 0, path);
        require(std::rename(temporary.c_str(), path.c_str()) == 0, path);
    } catch (const std::system_error&) {
        unlink(temporary.c_str());
        throw;
    }
}

void show_metrics(const std::string& file, const Output& output) {
    if (output.json) throw UsageError("metrics are OpenMetrics text and have no other form");
    const std::string text = text_of(measure());
    if (file.empty() || file == "-") {
        std::cout << text;
        return;
    }
    struct stat status = {};
    const bool is_other = lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    is_other ? write_into(file, text) : replace(file, text);
}

void declare(const CommandLine& metrics, Output& output) {
    const auto file = std::make_shared<std::string>();
    metrics.add("FILE", into(*file),
                "Replace this file in one step instead, such as one that node_exporter reads; a device, link "
                "or FIFO is written to, and \"-\" is standard output");
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
