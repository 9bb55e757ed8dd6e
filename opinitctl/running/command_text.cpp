#include "running/command_text.h"

#include "commands/secret.h"
#include "shown/safe_text.h"

namespace opinitctl {
namespace {

// A secret is the value of a setting of this name, and the last word of its command.
constexpr std::string_view secret_setting = ".auth.password";
constexpr std::string_view value_option = " -v ";

}  // namespace

std::string shown_command(std::string_view command) {
    std::string_view hidden;
    if (const std::size_t setting = command.find(secret_setting); setting != command.npos) {
        const std::size_t value = command.find(value_option, setting);
        if (value != command.npos) command = command.substr(0, value + value_option.size());
        hidden = stars;
    }
    std::string line;
    for (const char character : command) {
        const bool more_space = character == '\t' || (character == ' ' && line.ends_with(' '));
        if (!more_space) line += character;
    }
    return safe_text(line).append(hidden);
}

}  // namespace opinitctl
