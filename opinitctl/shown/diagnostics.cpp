#include "shown/diagnostics.h"

#include <iostream>

#include "shown/safe_text.h"
#include "shown/value.h"

namespace opinitctl {
namespace {

bool as_json = false;

void say(const Fields& fields, std::string_view sentence) {
    std::cout.flush();
    std::cerr << (as_json ? json_text(fields, Layout::one_line) : "opinitctl: " + safe_text(sentence))
              << '\n';
}

}  // namespace

void diagnose_as_json() {
    as_json = true;
}

void diagnose(std::string_view message) {
    say({{"warning", std::string(message)}}, message);
}

void show_command(const std::string& command) {
    std::cout.flush();
    std::cerr << (as_json ? json_text(Fields{{"command", command}}, Layout::one_line)
                          : "+ " + safe_text(command))
              << std::endl;
}

void show_lines(const std::vector<std::string>& lines) {
    std::cout.flush();
    for (const std::string& line : lines) {
        std::cerr << (as_json ? json_text(Fields{{"said", line}}, Layout::one_line) : safe_text(line))
                  << '\n';
    }
}

void report(const UsageError& error) {
    say({{"error", error.what()}, {"exit_status", unsigned{exit_usage}}}, error.what());
}

void report(const Failure& failure) {
    Fields fields = {{"error", failure.what()}, {"exit_status", static_cast<unsigned>(failure.code)}};
    if (failure.status != 0) fields.emplace_back("status", failure.status);
    if (as_json) {
        fields.emplace_back("said", values_of(failure.said));
    } else {
        show_lines(failure.said);
    }
    say(fields, failure.what());
}

}  // namespace opinitctl
