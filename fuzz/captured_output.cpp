// The input is what a failing command printed.
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

constexpr Phrase of_login[] = {{"no records found", 199, false},
                               {"already exists", 197, true},
                               {"connection timed out", 199, true},
                               {"encountered non-retryable", 199, true},
                               {"authorization failure", 199, true}};
constexpr Phrase of_removal[] = {{"no records found", 179, false}, {"session is using it", 167, false}};

unsigned int first_decision(const auto& phrases) {
    for (std::string line : fuzz::pieces(printed, 511)) {
        for (char& c : line) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (const auto& [text, status, on_error_lines_only] : phrases) {
            if (on_error_lines_only && !fuzz::contains(line, "error")) continue;
            if (fuzz::contains(line, text)) return status;
        }
    }
    return 0;
}

}  // namespace

/// Stands in for the C library's: no command runs.
extern "C" int system(const char*) {
    const int error = errno;
    host::write_file(tmperrfile, printed);
    errno = error;
    return 256;
}

void fuzz::try_input(const std::string& input) {
    printed = input;
    _LoginParams params{};
    errno = 0;
    require_equal(first_decision(of_login), _LoginTarget(&params, "10.0.0.1"), "login");
    errno = 0;
    require_equal(first_decision(of_removal), _remove_iscsi_dirs("10.0.0.1", 3260), "removal");
    errno = ECHILD;
    require_equal(first_decision(of_login), _remove_persistent_entry(nullptr, "10.0.0.1", 3260, nullptr),
                  "removal of a persistent entry");
}
