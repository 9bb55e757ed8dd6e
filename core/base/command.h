// Shell commands: composing, running, judging, and reading what was captured.
//
// How a run ended is read from the shell's result and errno. errno is not cleared before the command, so a
// stale ECHILD counts too.
//
//   result of system()                            errno    outcome
//   0                                             any      done
//   -1 or a wait status other than 0 (exit code,  ECHILD   result_lost: the agent ignores SIGCHLD; taken as
//     death by a signal, 127 for no such command)          success, errno is set back to 0
//   the same                                      other    failed
#pragma once

#include <string.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/captured_output.h"
#include "core/base/host_files.h"
#include "core/base/secret_text.h"

namespace opinit {

/// Text of a command, which may hold a CHAP secret.
class Command {
public:
    /// Appends the system's own text as it stands.
    Command& text(std::string_view part);
    /// Appends a number in decimal.
    Command& number(int value);
    /// Appends text from outside: as it stands when it is made of characters that mean nothing to the shell,
    /// single-quoted otherwise.
    Command& word(std::string_view outside);
    /// Appends the redirection of the command's output into the file that `tmperrfile` names: bash's own
    /// form, and what bash makes of it where /bin/sh is another shell, which would run the command in the
    /// background.
    Command& capture();

    const char* c_str() const { return text_.c_str(); }

private:
    SecretText text_;
};

enum class Outcome { done, result_lost, failed };

struct ShellResult {
    Outcome outcome;
    int status;  ///< what system() returned
};

ShellResult run_shell(const char* command);

/// Runs a command whose output is captured, after making its file safe to write to.
ShellResult run_captured(const char* command);

/// Runs a command whose output is not read: 0 when it is done or its result is lost, else 1.
int run_command(const char* command);

std::string lower_case(std::string_view line);

inline constexpr std::size_t output_line_limit = 512;

/// What `decide` says of the first line of the captured output for which it says anything. Lines are
/// lower-cased and come in pieces of at most 511 characters. Nothing when no line decides or there is no
/// file.
template <class Decide>
std::optional<unsigned int> first_decision(Decide decide) {
    const File output{captured_output_path(), Access::read_untrusted};
    if (!output) return std::nullopt;
    LineReader lines{output, output_line_limit};
    while (const auto piece = lines.next()) {
        std::string line = lower_case(*piece);
        const std::optional<unsigned int> decision = decide(std::string_view{line});
        explicit_bzero(line.data(), line.size());
        if (decision) return decision;
    }
    return std::nullopt;
}

}  // namespace opinit
