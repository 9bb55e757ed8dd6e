#include "host/daemon.h"

#include <algorithm>

#include "host/host_files.h"

namespace opinitctl {
namespace {

bool is_daemon(const std::string& process) {
    const std::vector<std::string> words = command_line(process);
    return !words.empty() && words.front().find("iscsid") != std::string::npos;
}

bool is_in_foreground(const std::string& process) {
    const std::vector<std::string> words = command_line(process);
    return std::any_of(words.begin(), words.end(),
                       [](const std::string& word) { return word == "-f" || word == "--foreground"; });
}

}  // namespace

std::vector<std::string> command_line(const std::string& process) {
    const std::string text = text_in("/proc/" + process + "/cmdline");
    return text.empty() ? std::vector<std::string>() : split(text, '\0');
}

std::vector<std::string> daemon_processes() {
    std::vector<std::string> processes = names_in("/proc");
    std::erase_if(processes, [](const std::string& name) { return !number_in(name) || !is_daemon(name); });
    return processes;
}

Daemon daemon_state() {
    // The main process' number is in a file of its own; with it there is no need to look at every process.
    if (const auto number = number_in(text_in("/run/iscsid.pid"));
        number && is_daemon(std::to_string(*number))) {
        return Daemon::whole;
    }
    const std::vector<std::string> processes = daemon_processes();
    if (processes.empty()) return Daemon::none;
    return processes.size() > 1 || is_in_foreground(processes.front()) ? Daemon::whole : Daemon::half;
}

}  // namespace opinitctl
