#include "processes.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "files.h"

namespace simhost {
namespace {

// A process that has ended and was not yet waited for has an empty command line.
std::string program_of(const std::filesystem::path& process) {
    const std::string arguments = read_file(process / "cmdline").value_or("");
    const std::string program = arguments.substr(0, arguments.find('\0'));
    return program.substr(program.rfind('/') + 1);
}

}  // namespace

bool is_running(pid_t process) {
    return !program_of(run_directory / "proc" / std::to_string(process)).empty();
}

std::vector<pid_t> processes_named(std::string_view program) {
    std::vector<pid_t> found;
    const auto table = run_directory / "proc";
    for (const std::string& name : names_in(table)) {
        const std::optional<unsigned> number = parse_number(name);
        if (!number || static_cast<pid_t>(*number) == ::getpid()) continue;
        if (program_of(table / name) == program) found.push_back(static_cast<pid_t>(*number));
    }
    return found;
}

bool wait_until(const std::function<bool()>& condition) {
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + std::chrono::seconds(2);
    while (!condition()) {
        if (steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool end_processes_named(std::string_view program) {
    for (const pid_t process : processes_named(program)) ::kill(process, SIGTERM);
    return wait_until([program] { return processes_named(program).empty(); });
}

}  // namespace simhost
