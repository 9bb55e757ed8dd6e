// doctor.
#include <algorithm>
#include <vector>

#include "commands.h"
#include "doctor_checks.h"
#include "errors.h"
#include "kvlinopinitr/open_initiator.h"
#include "listing_options.h"

namespace opinitctl {
namespace {

Value result_name(const Check& check) {
    switch (check.result) {
        case Result::ok:
            return "ok";
        case Result::problem:
            return "problem";
        default:
            return "note";
    }
}

const Columns<Check> check_columns = {
    {"check", [](const Check& check) -> Value { return check.name; }},
    {"result", result_name, Look::state},
    {"finding", [](const Check& check) -> Value { return check.finding; }, Look::text},
    {"remedy", [](const Check& check) { return text_or_null(check.remedy); }, Look::text},
};

void examine(const Output& output) {
    // Chains of records have their shape once an object was made.
    const OpenInitiator initiator;
    const std::vector<Check> checks = examine_host();
    output.list(check_columns, checks);
    const auto problems = std::count_if(checks.begin(), checks.end(),
                                        [](const Check& check) { return check.result == Result::problem; });
    if (problems > 0) throw Failure("problems found: " + std::to_string(problems));
}

void declare(CLI::App& doctor, Output& output) {
    add_listing_options(doctor, output, headings_of(check_columns));
    doctor.callback([&output] { examine(output); });
}

constexpr Command commands[] = {
    {"doctor", "Tell what the library sees on this host and why operations answer 182 or 183", declare},
};

}  // namespace

std::span<const Command> doctor_commands() {
    return commands;
}

}  // namespace opinitctl
