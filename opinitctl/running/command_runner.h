// Runs the library's commands, in the place of the C library's system().
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "running/command_process.h"

namespace opinitctl {

/// While it lives, every command that the library runs
/// - can be waited for: a terminal shows for how long, and a signal or the time limit ends the command with
///   all its children; no other command is run after that;
/// - prints into memory, since results would not be JSON otherwise, and a target could send its name to the
///   terminal raw;
/// - captures into a directory of our own in the place of the library's fixed path, which every user of the
///   host knows.
class CommandRunner {
public:
    using Clock = std::chrono::steady_clock;

    /// `what` is being done, for at most `limit` from `begin` on; zero is no limit.
    CommandRunner(const std::string& what, std::chrono::seconds limit,
                  Clock::time_point begin = Clock::now());
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
    void await(CommandProcess& process);
    void notice(int signal);
    void look_at_the_time();
    bool given_up() const { return interruption_ != 0 || timed_out_; }
    bool end(const CommandProcess& process);
    std::chrono::milliseconds time_to_next_look(bool shell_is_running) const;
    void show_progress(std::chrono::seconds elapsed);
    void erase_progress();

    HeldSignals signals_;
    std::string what_;
    std::chrono::seconds limit_;
    Clock::time_point begin_;
    std::string directory_;
    std::string captured_;  ///< the file in it
    const char* captured_before_;
    int printed_;
    std::string said_;
    std::size_t progress_ = 0;  ///< characters that stand in the line
    int interruption_ = 0;
    bool timed_out_ = false;
    std::optional<Clock::time_point> asked_to_end_;
};

}  // namespace opinitctl
