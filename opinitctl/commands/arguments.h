// Arguments of the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace opinitctl {

/// CLI11's own conversion, of plain decimal digits only: it would take 010 for 8.
template <class Number>
bool to_number(const std::string& text, Number& number) {
    const auto is_digit = [](char character) { return character >= '0' && character <= '9'; };
    const bool plain = std::all_of(text.begin(), text.end(), is_digit) && (text.size() < 2 || text[0] != '0');
    return plain && CLI::detail::lexical_cast(text, number);
}

/// Lets numbers through that `to_number` takes and that are no greater than `greatest`.
inline CLI::Validator number_up_to(std::uint32_t greatest) {
    return CLI::Validator(
        [greatest](std::string& text) -> std::string {
            std::uint32_t number = 0;
            if (to_number(text, number) && number <= greatest) return {};
            return "\"" + text + "\" is not a number from 0 to " + std::to_string(greatest);
        },
        "");
}

/// CLI11 may take an empty text for a portal of zeros without asking how a portal is read.
inline CLI::Validator given_portal() {
    return CLI::Validator(
        [](const std::string& text) -> std::string {
            if (!text.empty()) return {};
            return "\"\" is not a portal: ADDRESS[:PORT] is needed";
        },
        "");
}

/// A value of an argument that outlives the reading of the command line.
template <class Value>
using Given = std::shared_ptr<Value>;

template <class Value = std::string>
Given<Value> add_required(CLI::App& command, const std::string& name, const std::string& description) {
    const auto value = std::make_shared<Value>();
    command.add_option(name, *value, description)->required();
    return value;
}

/// A session, as sysfs numbers them; none for all.
inline Given<std::optional<unsigned int>> add_session_number(CLI::App& command) {
    const auto number = std::make_shared<std::optional<unsigned int>>();
    command.add_option("SESSION", *number, "Number of the session")
        ->type_name("")
        ->check(number_up_to(std::numeric_limits<std::int32_t>::max()));
    return number;
}

/// Seconds, zero for no limit.
inline void add_time_limit(CLI::App& command, unsigned int& seconds) {
    command.add_option("--timeout", seconds, "Give up after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(1u, 86400u));
}

}  // namespace opinitctl
