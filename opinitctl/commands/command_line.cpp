#include "commands/command_line.h"

#include <CLI/CLI.hpp>

#include "errors.h"
#include "host/host_files.h"

namespace opinitctl {
namespace {

constexpr const char* see_help = "; see \"opinitctl --help\"";

CLI::Option& add_to(CLI::App& app, const std::string& name, Reader reader, const std::string& description) {
    const std::size_t blank = std::min(name.find(' '), name.size());
    CLI::Option* const option = app.add_option(
        name.substr(0, blank),
        [reader = std::move(reader)](const CLI::results_t& words) {
            for (const std::string& word : words) reader(word);
            return true;
        },
        description);
    return *option->type_name(blank < name.size() ? name.substr(blank + 1) : "");
}

}  // namespace

Reader into(std::string& value) {
    return [&value](const std::string& word) { value = word; };
}

Reader into(std::optional<std::string>& value) {
    return [&value](const std::string& word) { value = word; };
}

Reader into(Names& values) {
    return [&values](const std::string& word) { values.push_back(word); };
}

std::uint32_t number_from(std::uint32_t least, std::uint32_t greatest, const std::string& word) {
    const std::optional<unsigned int> number = number_in(word);
    if (number && *number >= least && *number <= greatest) return *number;
    throw UsageError("\"" + word + "\" is not a number from " + std::to_string(least) + " to " +
                     std::to_string(greatest));
}

const Option& Option::required() const {
    option_->required();
    return *this;
}

const Option& Option::needs(const Option& other) const {
    option_->needs(other.option_);
    return *this;
}

const Option& Option::excludes(const Option& other) const {
    option_->excludes(other.option_);
    return *this;
}

bool Option::was_given() const {
    return !option_->empty();
}

Option CommandLine::add_flag(const std::string& name, bool& flag, const std::string& description) const {
    return Option(*app_->add_flag(name, flag, description));
}

Option CommandLine::add(const std::string& name, Reader reader, const std::string& description) const {
    return Option(add_to(*app_, name, std::move(reader), description));
}

Option CommandLine::add_repeatable(const std::string& name, Reader reader,
                                   const std::string& description) const {
    CLI::Option& option = add_to(*app_, name, std::move(reader), description);
    option.expected(1, CLI::detail::expected_max_vector_size);
    // Of an option each value stands behind a name of its own.
    option.allow_extra_args(option.get_positional());
    return Option(option);
}

CommandLine CommandLine::add_command(const std::string& name, const std::string& description) const {
    return CommandLine(*app_->add_subcommand(name, description));
}

bool CommandLine::has_command() const {
    return !app_->get_subcommands().empty();
}

void CommandLine::add_note(const std::string& text) const {
    const std::string others = app_->get_footer();
    app_->footer(others.empty() ? text : text + '\n' + others);
}

void CommandLine::on_run(std::function<void()> run) const {
    app_->callback(std::move(run));
}

void run_command_line(const Names& words, const std::function<void(const CommandLine&)>& declare) {
    CLI::App app{"Controls the iSCSI initiator of this host.", "opinitctl"};
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", "opinitctl " OPINITCTL_VERSION);
    declare(CommandLine(app));
    try {
        app.parse(Names(words.rbegin(), words.rend()));
    } catch (const CLI::Success& help) {
        app.exit(help);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what() + std::string(see_help));
    }
}

}  // namespace opinitctl
