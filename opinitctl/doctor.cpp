// doctor.
#include <algorithm>
#include <vector>

#include "commands.h"
#include "doctor_checks.h"
#include "errors.h"
#include "kvlinopinitr/open_initiator.h"

namespace opinitctl {
namespace {

Json result_name(const Check& check) {
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
    {"check", [](const Check& check) -> Json { return check.name; }},
    {"result", result_name},
    {"finding", [](const Check& check) -> Json { return check.finding; }},
    {"remedy", [](const Check& check) { return text_or_null(check.remedy); }},
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

}  // namespace

void add_doctor(CLI::App& app, const Output& output) {
    app.add_subcommand("doctor",
                       "Tell what the library sees on this host and why operations answer 182 or 183")
        ->callback([&output] { examine(output); });
}

}  // namespace opinitctl
