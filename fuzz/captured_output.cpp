// The input is what a failing command printed.
#include <algorithm>
#include <cctype>
#include <cerrno>

#include "fuzz/fuzz.h"
#include "kvlinopinitr/open_initiator_functions.h"

namespace {

std::string printed;

struct Phrase {
    const char* text;
    unsigned int status;
    bool on_error_lines_only;
};

using Phrases = std::vector<Phrase>;

const Phrases of_login = {{"no records found", 199, false},
                          {"already exists", 197, true},
                          {"connection timed out", 199, true},
                          {"encountered non-retryable", 199, true},
                          {"authorization failure", 199, true}};
const Phrases of_removal = {{"no records found", 179, false}, {"session is using it", 167, false}};

unsigned int first_decision(const Phrases& phrases) {
    for (std::string line : fuzz::pieces(printed, 511)) {
        std::transform(line.begin(), line.end(), line.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        for (const auto& [text, status, on_error_lines_only] : phrases) {
            if (on_error_lines_only && !fuzz::contains(line, "error")) continue;
            if (fuzz::contains(line, text)) return status;
        }
    }
    return 0;
}

std::string outcome(unsigned int (*run)(), int error) {
    errno = error;
    return std::to_string(run());
}

}  // namespace

/// Stands in for the C library's: no command runs.
extern "C" int system(const char*) {
    const int error = errno;
    fuzz::put(tmperrfile, printed);
    errno = error;
    return 256;
}

void fuzz::try_input(const std::string& input) {
    printed = input;
    const std::string login = std::to_string(first_decision(of_login));
    const std::string removal = std::to_string(first_decision(of_removal));
    const auto log_in = [] {
        _LoginParams params{};
        return _LoginTarget(&params, "10.0.0.1");
    };
    const auto remove = [] { return _remove_iscsi_dirs("10.0.0.1", 3260); };
    const auto forget = [] { return _remove_persistent_entry(nullptr, "10.0.0.1", 3260, nullptr); };
    require_equal(login, outcome(log_in, 0), "login");
    require_equal(removal, outcome(remove, 0), "removal");
    require_equal(login, outcome(forget, ECHILD), "removal of a persistent entry");
}
