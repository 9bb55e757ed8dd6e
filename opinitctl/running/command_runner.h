// Runs the library's commands, in the place of the C library's system().
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "running/capture_directory.h"
#include "running/command_process.h"
#include "running/held_signals.h"
#include "running/progress.h"

namespace opinitctl {

/// While it lives, every command that the library runs
/// - can be waited for: a terminal shows for how long, and a signal or the time limit ends the command with
/// all
///   its children; no other command is run after that;
/// - prints into memory, since results would not be JSON otherwise, and a target could send its name to the
///   terminal raw.
class CommandRunner {
public:
    /// `what` is being done, for at most `limit`; zero is no limit.
    CommandRunner(const std::string& what, std::chrono::seconds limit);
    ~CommandRunner();
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;

    /// As system() does: the wait status, or -1.
    int run(const char* command);

    /// The lines that the commands printed.
    std::vector<std::string> said() const;

    /// The signal that asked this program to end, or 0.
    int interruption();
    bool timed_out() const { return timed_out_; }

    /// Whether each command is shown on standard error as it runs.
    static inline bool shows_commands = false;

private:
    using Clock = std::chrono::steady_clock;

    void await(CommandProcess& process, bool with_children);
    void notice(int signal);
    void look_at_the_time();
    bool given_up() const { return interruption_ != 0 || timed_out_; }
    bool end(const CommandProcess& process);
    std::chrono::milliseconds time_to_next_look(bool shell_is_running) const;
    void collect_output(const std::string& command);

    HeldSignals signals_;
    CaptureDirectory directory_;
    ProgressLine progress_;
    Clock::time_point begin_ = Clock::now();
    std::chrono::seconds limit_;
    int printed_;
    std::string said_;
    int interruption_ = 0;
    bool timed_out_ = false;
    std::optional<Clock::time_point> asked_to_end_;
};

}  // namespace opinitctl
