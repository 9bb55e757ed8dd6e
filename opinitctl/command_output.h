// Keeps what the library's commands print away from the results.
#pragma once

namespace opinitctl {

/// While it lives, standard output and standard error of this process and of the commands it runs go into
/// memory. Results would not be JSON otherwise, and a target could send its name to the terminal raw.
class CommandOutput {
public:
    CommandOutput();
    ~CommandOutput();
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;

    /// Ends the capture and shows what came, line by line, on standard error.
    void relay();

private:
    void restore();

    int captured_ = -1;
    int standard_output_ = -1;
    int standard_error_ = -1;
};

}  // namespace opinitctl
