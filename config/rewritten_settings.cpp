#include "config/rewritten_settings.h"

#include "config/iscsid_conf.h"
#include "core/base/tokens.h"

namespace opinit {
namespace {

/// Room for what a usual request adds.
constexpr std::size_t usual_growth = 512;

/// The next line, newline included.
std::string_view next_line(std::string_view& text) {
    const std::size_t newline = text.find('\n');
    const std::string_view line = text.substr(0, newline == std::string_view::npos ? newline : newline + 1);
    text.remove_prefix(line.size());
    return line;
}

std::string_view key_of(std::string_view line) {
    return may_be_setting(line) ? next_token(line, setting_separators) : std::string_view{};
}

void append_setting(SecretText& text, std::string_view key, std::string_view value) {
    for (const std::string_view part : {key, std::string_view{" = "}, value, std::string_view{"\n"}}) {
        text.append(part);
    }
}

/// Appends what has no line yet, and an empty line. The initiator name gets only the latter, each time: it
/// has a file of its own.
void append_missing(SecretText& text, const std::vector<const AcceptedProperty*>& missing) {
    if (missing.empty()) return;
    if (!text.view().empty() && !text.view().ends_with('\n')) text.append("\n");
    for (const AcceptedProperty* property : missing) {
        if (property->row->id != iscsi_property::initiator_name)
            append_setting(text, property->key, property->value);
    }
    text.append("\n");
}

}  // namespace

SecretText rewritten_settings(std::string_view old, const Request& request) {
    SecretText text;
    text.reserve(old.size() + usual_growth);
    std::vector<const AcceptedProperty*> missing;
    for (const AcceptedProperty& property : request.properties()) missing.push_back(&property);
    while (!old.empty()) {
        const std::string_view line = next_line(old);
        const std::string_view key = key_of(line);
        if (const AcceptedProperty* property = request.find(key)) {
            append_setting(text, key, property->value);
            std::erase(missing, property);
        } else {
            text.append(line);
        }
    }
    append_missing(text, missing);
    return text;
}

}  // namespace opinit
