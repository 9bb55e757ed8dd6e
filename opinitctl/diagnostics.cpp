#include "diagnostics.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "safe_text.h"

namespace opinitctl {
namespace {

using Json = nlohmann::ordered_json;

bool as_json = false;

// Escaping all that is not ASCII also keeps control characters from the terminal.
std::string in_one_line(const Json& object) {
    return object.dump(-1, ' ', true, Json::error_handler_t::replace);
}

void say(const Json& object, std::string_view sentence) {
    std::cout.flush();
    std::cerr << (as_json ? in_one_line(object) : "opinitctl: " + safe_text(sentence)) << '\n';
}

}  // namespace

void diagnose_as_json() {
    as_json = true;
}

void diagnose(std::string_view message) {
    say({{"warning", message}}, message);
}

void show_lines(const std::vector<std::string>& lines) {
    std::cout.flush();
    for (const std::string& line : lines) {
        std::cerr << (as_json ? in_one_line({{"said", line}}) : safe_text(line)) << '\n';
    }
}

void report(const UsageError& error) {
    say({{"error", error.what()}, {"exit_status", exit_usage}}, error.what());
}

void report(const Failure& failure) {
    Json object = {{"error", failure.what()}, {"exit_status", failure.code}};
    if (failure.status != 0) object["status"] = failure.status;
    if (as_json) {
        object["said"] = failure.said;
    } else {
        show_lines(failure.said);
    }
    say(object, failure.what());
}

}  // namespace opinitctl
