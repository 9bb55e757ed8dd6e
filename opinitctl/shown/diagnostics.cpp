#include "shown/diagnostics.h"

#include <iostream>

#include "shown/safe_text.h"
#include "shown/value.h"

namespace opinitctl {
namespace {

bool as_json = false;

void say(const Value& fields, std::string_view sentence) {
    std::cout.flush();
    std::cerr << (as_json ? json_text(fields) : "opinitctl: " + safe_text(sentence)) << '\n';
}

}  // namespace

void diagnose_as_json() {
    as_json = true;
}

void diagnose(std::string_view message) {
    say(Value::object({{"warning", message}}), message);
}

void show_command(const std::string& command) {
    std::cout.flush();
    std::cerr << (as_json ? json_text(Value::object({{"command", command}})) : "+ " + safe_text(command))
              << std::endl;
}

void show_lines(const std::vector<std::string>& lines) {
    std::cout.flush();
    for (const std::string& line : lines) {
        std::cerr << (as_json ? json_text(Value::object({{"said", line}})) : safe_text(line)) << '\n';
    }
}

void report(const UsageError& error) {
    say({{"error", error.what()}, {"exit_status", exit_usage}}, error.what());
}

void report(const Failure& failure) {
    Value fields = {{"error", failure.what()}, {"exit_status", failure.code}};
    if (failure.status != 0) fields["status"] = failure.status;
    if (as_json) {
        fields["said"] = failure.said;
    } else {
        show_lines(failure.said);
    }
    say(fields, failure.what());
}

}  // namespace opinitctl
