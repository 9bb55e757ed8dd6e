#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "failure.h"
#include "furniture.h"
#include "machine.h"
#include "mounts.h"
#include "namespaces.h"
#include "options.h"
#include "own_directories.h"
#include "places.h"
#include "process_table.h"
#include "stack.h"
#include "supervisor.h"
#include "unique_fd.h"

namespace simhost {

namespace fs = std::filesystem;

namespace {

// What the stack still has to be started with.
Commands build_host(const Options& options, const std::vector<Place>& places) {
    enter_empty_root();
    make_own_directories(options.state);
    const bool daemon_was_running = forget_old_processes();
    make_process_table();
    show_machine();
    const auto [is_new, has_systemd] = furnish(options);
    show_places(places);
    leave_machine_root();
    if (is_new) return options.stopped ? Commands{} : whole_stack(has_systemd);
    return daemon_was_running ? daemon_alone(has_systemd) : Commands{};
}

std::string host_path() {
    const char* outside = std::getenv("PATH");
    std::string path =
        std::string("/run/simhost/override:/run/simhost/bin:") + (outside ? outside : "/usr/bin:/bin");
    // An ordinary user's path has none of these; inside he is root.
    for (const std::string directory : {"/usr/sbin", "/sbin"}) {
        if ((path + ":").find(":" + directory + ":") == std::string::npos) path += ":" + directory;
    }
    return path;
}

void prepare_environment() {
    setenv("PATH", host_path().c_str(), 1);
    setenv("SIMHOST", "1", 1);
    // Names a directory that the host does not have.
    unsetenv("TMPDIR");
}

int run_command(const Options& options, const TakenSignals& signals) {
    const pid_t command = fork();
    if (command < 0) throw_errno("cannot start a process");
    if (command == 0) {
        show_process(getpid());
        execute(options.command, signals);
    }
    return supervise(command, signals, hide_process);
}

int be_init(const Options& options, const fs::path& working_directory, const TakenSignals& signals) {
    // Everything inside ends with this process, and this one must not outlive its parent.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const Commands missing = build_host(options, kept_places(options, working_directory));
    prepare_environment();
    bring_up(missing, signals);
    std::error_code not_there;
    fs::current_path(working_directory, not_there);
    return run_command(options, signals);
}

UniqueFd lock_state(const Options& options) {
    if (!options.state) return UniqueFd();
    UniqueFd directory(open(options.state->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() < 0) throw_errno("cannot open " + options.state->string());
    if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("another command runs on the host in " + options.state->string());
    }
    return directory;
}

int enter(const Options& options) {
    if (fs::exists("/run/simhost/proc/self")) throw std::runtime_error("this is the simulated host already");
    const UniqueFd lock = lock_state(options);
    std::error_code removed;
    const fs::path working_directory = fs::current_path(removed);
    const TakenSignals signals;
    enter_namespaces();
    const pid_t init = fork();
    if (init < 0) throw_errno("cannot start a process");
    return init == 0 ? be_init(options, working_directory, signals) : supervise(init, signals);
}

}  // namespace

}  // namespace simhost

int main(int argc, char** argv) {
    try {
        const simhost::ParsedOptions parsed = simhost::parse_options(argc, argv);
        return parsed.options ? simhost::enter(*parsed.options) : parsed.exit_code;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "simhost/enter: %s\n", error.what());
        return simhost::exit_not_entered;
    }
}
