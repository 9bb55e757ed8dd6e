#include "targets/iscsiadm_output.h"

#include <optional>
#include <string_view>

#include "core/base/command.h"
#include "kvlinopinitr/iscsi_status.h"

namespace opinit {
namespace {

struct Phrase {
    std::string_view text;
    unsigned int status;
};

/// These count only on a line that reports an error.
constexpr Phrase error_phrases[] = {
    {"already exists", iscsi_status::already_logged_in},
    {"connection timed out", iscsi_status::login_failed},
    {"encountered non-retryable", iscsi_status::login_failed},
    {"authorization failure", iscsi_status::login_failed},
};

bool contains(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

std::optional<unsigned int> classify_line(std::string_view line) {
    if (contains(line, "no records found")) return iscsi_status::login_failed;
    if (!contains(line, "error")) return std::nullopt;
    for (const Phrase& phrase : error_phrases) {
        if (contains(line, phrase.text)) return phrase.status;
    }
    return std::nullopt;
}

}  // namespace

unsigned int _check_iscsiadm_output() {
    return first_decision(classify_line).value_or(iscsi_status::success);
}

}  // namespace opinit
