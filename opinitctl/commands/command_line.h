// The command line as the families of commands declare it. The option parser behind it takes long to compile
// and is included in one file.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "shown/names.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace opinitctl {

/// Takes a word, or says by a UsageError why it does not.
using Reader = std::function<void(const std::string&)>;

/// Readers that keep the word.
Reader into(std::string& value);
Reader into(std::optional<std::string>& value);
Reader into(Names& values);

/// The number that a word of plain decimal digits is; a UsageError where it is none, or out of these bounds.
std::uint32_t number_from(std::uint32_t least, std::uint32_t greatest, const std::string& word);

class Option {
public:
    const Option& required() const;
    const Option& needs(const Option& other) const;
    const Option& excludes(const Option& other) const;
    bool was_given() const;

private:
    friend class CommandLine;
    explicit Option(CLI::Option& option) : option_(&option) {}

    CLI::Option* option_;
};

/// A command, and what may follow it. A name is "ARGUMENT", or "-o,--option PLACEHOLDER".
class CommandLine {
public:
    explicit CommandLine(CLI::App& app) : app_(&app) {}

    Option add_flag(const std::string& name, bool& flag, const std::string& description) const;
    Option add(const std::string& name, Reader reader, const std::string& description) const;
    /// One that can be repeated.
    Option add_repeatable(const std::string& name, Reader reader, const std::string& description) const;

    /// A command below this one.
    CommandLine add_command(const std::string& name, const std::string& description) const;
    bool has_command() const;
    /// Stands at the end of the help, also of the commands that are added from then on.
    void add_note(const std::string& text) const;
    void on_run(std::function<void()> run) const;

private:
    CLI::App* app_;
};

/// Reads the program's command line, which `declare` declares, and runs what it asks for. A UsageError where
/// it cannot be read.
void run_command_line(const Names& words, const std::function<void(const CommandLine&)>& declare);

}  // namespace opinitctl
