// opinitctl: controls the host's iSCSI initiator from the command line.
#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

#include "commands/commands.h"
#include "errors.h"
#include "running/command_runner.h"
#include "shown/diagnostics.h"
#include "shown/names.h"

namespace {

using namespace opinitctl;

constexpr const char* footer =
    R"(Results go to standard output, everything else to standard error.
The keys of JSON are the headings in small letters, with "_" for "-"; a SIZE is "size_bytes", and what is
below in a tree is "children".
Exit status: 0 done; 1 the operation failed, its number and message are on standard error;
2 wrong usage; 3 there is no such session, target or setting; 4 the stack is not installed or not running;
an interrupted command ends by its signal: 130 to a shell after Ctrl-C (128 and the number of the signal).)";

std::vector<Command> all_commands() {
    std::vector<Command> all;
    for (const auto family :
         {stack_commands(), config_commands(), portal_commands(), target_commands(), login_commands(),
          session_commands(), disk_commands(), metrics_commands(), doctor_commands()}) {
        all.insert(all.end(), family.begin(), family.end());
    }
    return all;
}

bool is_option(const std::string& word) {
    return word.starts_with('-');
}

// "help X" is "X --help".
Names words_of(int argc, char** argv) {
    Names words(argv + std::min(argc, 1), argv + argc);
    const auto first = std::find_if_not(words.begin(), words.end(), is_option);
    if (first == words.end() || *first != "help") return words;
    words.erase(first);
    words.emplace_back("--help");
    return words;
}

// Only the command that is meant: declaring all takes longer than most of them.
void declare(const CommandLine& line, const Names& words, Output& output) {
    line.add_note(footer);
    line.add_flag("-J,--json", output.json, "Print results as JSON (before or behind any command)");
    line.add_flag("-v,--verbose", CommandRunner::shows_commands,
                  "Show the commands as they run; secrets as stars");
    const auto named = std::find_if_not(words.begin(), words.end(), is_option);
    bool is_known = named == words.end();
    Names names;
    for (const Command& command : all_commands()) {
        names.emplace_back(command.name);
        if (named != words.end() && *named != command.name) continue;
        is_known = true;
        command.declare(line.add_command(command.name, command.description), output);
    }
    if (named == words.end()) line.add_command("help", "Show the help of a command");
    if (!is_known) {
        throw UsageError("there is no command \"" + *named + "\"; the commands are " + enumeration(names));
    }
}

int run(const Names& words) {
    Output output;
    try {
        run_command_line(words, [&](const CommandLine& line) { declare(line, words, output); });
    } catch (const UsageError& error) {
        report(error);
        return exit_usage;
    }
    if (!std::cout.flush()) throw Failure("cannot write to standard output");
    return exit_done;
}

}  // namespace

int main(int argc, char** argv) {
    // Where a parent left it ignored, no result of a command would be known, and all would count as done.
    std::signal(SIGCHLD, SIG_DFL);
    // Which characters are shown, and how the lines of a tree are drawn.
    std::setlocale(LC_CTYPE, "");
    try {
        const Names words = words_of(argc, argv);
        const auto asks_for_json = [](const std::string& word) { return word == "-J" || word == "--json"; };
        if (std::any_of(words.begin(), words.end(), asks_for_json)) diagnose_as_json();
        return run(words);
    } catch (const Interrupted& interruption) {
        report(interruption);
        // A shell that runs this program in a loop ends the loop only then.
        std::signal(interruption.signal, SIG_DFL);
        std::raise(interruption.signal);
        return interruption.code;
    } catch (const Failure& failure) {
        report(failure);
        return failure.code;
    } catch (const std::exception& error) {
        report(Failure(error.what()));
        return exit_failed;
    }
}
