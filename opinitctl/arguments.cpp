#include "arguments.h"

#include <charconv>

#include "errors.h"

namespace opinitctl {

Text add_required(CLI::App& command, const std::string& name, const std::string& description) {
    const auto text = std::make_shared<std::string>();
    command.add_option(name, *text, description)->required();
    return text;
}

std::uint32_t parse_number(std::string_view text, std::uint32_t greatest, const std::string& what) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number > greatest) {
        throw UsageError(what + " must be a number from 0 to " + std::to_string(greatest) + ", not \"" +
                         std::string(text) + "\"");
    }
    return number;
}

}  // namespace opinitctl
