// What the doctor prints.
#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>

#include "doctor/check.h"
#include "shown/safe_text.h"
#include "shown/terminal.h"

namespace opinitctl::doctor {
namespace {

constexpr std::size_t indentation = 9;
constexpr std::size_t least_width = 20;

/// Without a terminal no line is broken.
std::size_t width() {
    const std::size_t columns = terminal_width(STDOUT_FILENO);
    return columns == 0 ? std::numeric_limits<std::size_t>::max() : std::max(columns, least_width);
}

/// Prints words behind what stands in the first line; further lines begin below the first word.
void print_wrapped(const std::string& text, std::size_t columns) {
    std::istringstream words(text);
    std::size_t column = indentation;
    for (std::string word; words >> word; column += word.size()) {
        if (column > indentation && column + 1 + word.size() >= columns) {
            std::cout << '\n' << std::string(indentation, ' ');
            column = indentation;
        } else if (column > indentation) {
            std::cout << ' ';
            ++column;
        }
        std::cout << word;
    }
    std::cout << '\n';
}

const char* word_for(Result result) {
    return result == Result::ok ? "ok" : result == Result::note ? "note" : "problem";
}

std::string coloured(Result result) {
    std::ostringstream padded;
    padded << std::left << std::setw(indentation) << word_for(result);
    if (!wants_colours()) return padded.str();
    static constexpr const char* colours[] = {"\033[32m", "\033[33m", "\033[31m"};
    return colours[static_cast<int>(result)] + padded.str() + "\033[0m";
}

void print(const Check& check, std::size_t columns) {
    std::cout << coloured(check.result);
    print_wrapped(check.name + ": " + safe_text(check.finding), columns);
    for (const auto& [label, text] : {std::pair{"remedy: ", check.remedy}, {"done: ", check.done}}) {
        if (text.empty()) continue;
        std::cout << std::string(indentation, ' ');
        print_wrapped(label + safe_text(text), columns);
    }
}

const Columns<Check> columns = {
    {"check", [](const Check& check) -> Value { return check.name; }},
    {"result", [](const Check& check) -> Value { return word_for(check.result); }},
    {"finding", [](const Check& check) -> Value { return check.finding; }},
    {"remedy", [](const Check& check) { return text_or_null(check.remedy); }},
    {"fix", [](const Check& check) { return check.fix ? Value(check.fix->what) : Value(); }},
    {"done", [](const Check& check) { return text_or_null(check.done); }},
};

}  // namespace

void report(const Checks& checks, const Output& output) {
    if (output.json) return output.list(columns, checks);
    for (const Check& check : checks) print(check, width());
}

}  // namespace opinitctl::doctor
