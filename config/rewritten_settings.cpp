#include "config/rewritten_settings.h"

#include "config/iscsid_conf.h"
#include "core/base/tokens.h"

namespace opinit {
namespace {

/// Room for what a usual request adds.
constexpr std::size_t usual_growth = 512;

/// The line that begins there, newline included.
std::string_view line_at(std::string_view text, std::size_t begin) {
    const std::string_view rest = text.substr(begin);
    const std::size_t newline = rest.find('\n');
    return rest.substr(0, newline == std::string_view::npos ? newline : newline + 1);
}

std::string_view key_of(std::string_view line) {
    return may_be_setting(line) ? next_token(line, separates_setting) : std::string_view{};
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
    std::size_t kept = 0;  // where the lines begin that stay as they are
    std::size_t end = 0;
    while (end < old.size()) {
        const std::size_t begin = end;
        const std::string_view line = line_at(old, begin);
        end += line.size();
        const std::string_view key = key_of(line);
        const AcceptedProperty* property = request.find(key);
        if (property == nullptr) continue;
        text.append(old.substr(kept, begin - kept));
        append_setting(text, key, property->value);
        std::erase(missing, property);
        kept = end;
    }
    text.append(old.substr(kept));
    append_missing(text, missing);
    return text;
}

}  // namespace opinit
