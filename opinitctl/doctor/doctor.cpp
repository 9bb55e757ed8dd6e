// doctor.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <set>

#include "commands/commands.h"
#include "doctor/check.h"
#include "errors.h"
#include "kvlinopinitr/open_initiator.h"
#include "shown/diagnostics.h"
#include "shown/safe_text.h"
#include "shown/terminal.h"

namespace opinitctl {
namespace {

using namespace doctor;

struct Request {
    bool fix = false;
    bool yes = false;
};

Checks examine_host() {
    Checks all;
    for (const auto examine : {examine_stack, examine_start, examine_settings, examine_rights,
                               examine_commands, examine_sessions}) {
        const Checks some = examine();
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

bool agrees(const Check& check) {
    std::cerr << safe_text(check.name + ": " + check.finding) << '\n';
    return opinitctl::agrees(check.fix->what);
}

/// Whether it was mended; then the check says how.
bool mend(Check& check, bool without_asking) {
    if (!without_asking && !agrees(check)) return false;
    try {
        check.fix->apply();
    } catch (const std::exception& error) {
        diagnose("cannot " + check.fix->what + ": " + error.what());
        return false;
    }
    check.done = check.fix->what + "; undone by: " + check.fix->undo;
    return true;
}

/// Offers each fix once. One may do for several checks, so the host is looked at again after each.
Checks mend_host(bool without_asking) {
    std::set<std::string> offered;
    Checks mended;
    for (;;) {
        Checks checks = examine_host();
        const auto next = std::find_if(checks.begin(), checks.end(), [&offered](const Check& check) {
            return check.fix && !offered.contains(check.name);
        });
        if (next == checks.end()) return mended;
        offered.insert(next->name);
        if (mend(*next, without_asking)) mended.push_back(*next);
    }
}

void examine(const Request& request, const Output& output) {
    if (request.fix && !request.yes && isatty(STDIN_FILENO) == 0) {
        throw UsageError("no terminal to ask at: --yes makes all changes");
    }
    // Chains of records have their shape once an object was made.
    const OpenInitiator initiator;
    Checks findings = request.fix ? mend_host(request.yes) : Checks();
    const Checks checks = examine_host();
    findings.insert(findings.end(), checks.begin(), checks.end());
    report(findings, output);
    const auto problems = std::count_if(checks.begin(), checks.end(),
                                        [](const Check& check) { return check.result == Result::problem; });
    if (problems > 0) throw Failure("problems found: " + std::to_string(problems));
}

void declare(const CommandLine& command, Output& output) {
    const auto request = std::make_shared<Request>();
    const Option fix =
        command.add_flag("--fix", request->fix, "Offer the changes that can be undone, one by one");
    command.add_flag("--yes", request->yes, "Make them all without asking").needs(fix);
    command.on_run([request, &output] { examine(*request, output); });
}

constexpr Command commands[] = {
    {"doctor", "Tell what is wrong on this host and what helps", declare},
};

}  // namespace

doctor::Check doctor::verdict(Check wrong, Names about, const std::string& fine) {
    constexpr std::size_t most = 5;
    if (about.empty()) return ok(wrong.name, fine);
    const std::size_t all = about.size();
    about.resize(std::min(most, all));
    wrong.finding += enumeration(about) + (all > most ? " and " + std::to_string(all - most) + " more" : "");
    return wrong;
}

std::span<const Command> doctor_commands() {
    return commands;
}

}  // namespace opinitctl
