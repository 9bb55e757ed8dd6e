#include "stack.h"

#include <filesystem>
#include <stdexcept>

namespace simhost {

namespace fs = std::filesystem;

Commands whole_stack(bool has_systemd) {
    Commands commands = {{"/sbin/modprobe", "iscsi_tcp"}};
    if (has_systemd) commands.push_back({"/bin/systemctl", "start", "iscsid.socket"});
    commands.push_back(daemon_alone(has_systemd).front());
    return commands;
}

Commands daemon_alone(bool has_systemd) {
    if (has_systemd) return {{"/bin/systemctl", "start", "iscsid.service"}};
    return {{"/sbin/iscsid"}};
}

void bring_up(const Commands& commands, const TakenSignals& signals) {
    const fs::path call_log = "/run/simhost/calls.log";
    const auto size = fs::file_size(call_log);
    for (const auto& command : commands) {
        const int code = run_quietly(command, signals);
        if (code != 0) throw std::runtime_error(command.front() + " answered " + std::to_string(code));
    }
    fs::resize_file(call_log, size);
}

}  // namespace simhost
