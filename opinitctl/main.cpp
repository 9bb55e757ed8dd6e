// opinitctl: controls the host's iSCSI initiator from the command line.
#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>

#include "command_runner.h"
#include "commands.h"
#include "errors.h"
#include "safe_text.h"

namespace {

using namespace opinitctl;

constexpr const char* footer = R"(Results go to standard output, everything else to standard error.
Exit status: 0 done; 1 the operation failed, its number and message are on standard error;
2 wrong usage; 130 interrupted (128 and the number of the signal).)";

void declare(CLI::App& app, Output& output) {
    app.name("opinitctl");
    app.footer(footer);
    app.fallthrough();
    app.require_subcommand(1);
    app.add_flag("--json", output.json, "Print results as JSON (before or behind any command)");
    app.add_flag("-v,--verbose", CommandRunner::shows_commands,
                 "Show the commands as they run; secrets as stars");
    add_stack_commands(app, output);
    add_config_commands(app, output);
    add_target_commands(app, output);
    add_session_commands(app, output);
    add_doctor(app, output);
}

int run(int argc, char** argv) {
    CLI::App app{"Controls the iSCSI initiator of this host."};
    Output output;
    declare(app, output);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exit_done : exit_usage;
    } catch (const UsageError& error) {
        diagnose(error.what());
        return exit_usage;
    }
    if (!std::cout.flush()) throw Failure("cannot write to standard output");
    return exit_done;
}

}  // namespace

int main(int argc, char** argv) {
    // Where a parent left it ignored, no result of a command would be known, and all would count as done.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        return run(argc, argv);
    } catch (const Interrupted& interrupted) {
        diagnose(interrupted.what());
        return 128 + interrupted.signal;
    } catch (const Failure& failure) {
        show_lines(failure.said);
        diagnose(failure.what());
        return exit_failed;
    } catch (const std::exception& error) {
        diagnose(error.what());
        return exit_failed;
    }
}
