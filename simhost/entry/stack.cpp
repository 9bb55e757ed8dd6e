#include "stack.h"

#include <filesystem>
#include <stdexcept>

namespace simhost {

namespace fs = std::filesystem;

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
