#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string_view>

#include "call_log.h"
#include "commands.h"
#include "daemon.h"
#include "failure.h"
#include "files.h"

namespace {

using namespace simhost;

struct Command {
    std::string_view name;
    int (*run)(int argc, char** argv);
    bool logged;
};

// The last ones are this program's own: a host has no such commands, so nobody expects them in the log.
constexpr Command commands[] = {
    {"iscsiadm", iscsiadm, true},
    {"iscsid", iscsid, true},
    {"killall", killall, true},
    {"modprobe", modprobe, true},
    {"rmmod", rmmod, true},
    {"systemctl", systemctl, true},
    {"add-session", add_session, false},
    {"remove-session", drop_session, false},
    {"session-state", session_state, false},
};

constexpr std::string_view own_name = "simhost-command";

std::string_view base_name(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

const Command* find_command(std::string_view name) {
    for (const Command& command : commands) {
        if (command.name == name) return &command;
    }
    return nullptr;
}

int run(const Command& command, int argc, char** argv) {
    // Guards the machine: outside, these commands would act on its own files and processes.
    if (!std::filesystem::exists(run_directory / "proc/self")) {
        throw Failure(2, "this works inside the simulated host only");
    }
    if (command.logged) log_call(command.name, argc, argv);
    return command.run(argc, argv);
}

int report(std::string_view name, const char* text, int exit_code) {
    std::fprintf(stderr, "%.*s: %s\n", static_cast<int>(name.size()), name.data(), text);
    return exit_code;
}

}  // namespace

int main(int argc, char** argv) {
    if (is_daemon_process()) stay_as_daemon();
    if (argc > 1 && base_name(argv[0]) == own_name) {
        --argc;
        ++argv;
    }
    const std::string_view name = argc > 0 ? base_name(argv[0]) : own_name;
    const Command* command = find_command(name);
    if (!command) {
        return report(own_name, "no such command: simhost/commands/README.md lists them", 2);
    }
    try {
        return run(*command, argc, argv);
    } catch (const Failure& failure) {
        return report(name, failure.what(), failure.exit_code);
    } catch (const std::exception& error) {
        return report(name, error.what(), status::database);
    }
}
