#include "commands/open_metrics.h"

#include "shown/safe_text.h"

namespace opinitctl {
namespace {

std::string escaped(const std::string& value) {
    std::string text;
    // What is not printable ASCII may be no UTF-8 either.
    for (const char character : safe_text(value)) {
        if (character == '\\' || character == '"') text += '\\';
        text += character;
    }
    return text;
}

std::string label_set(const Labels& labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        text += (text.empty() ? "{" : ",") + name + "=\"" + escaped(value) + '"';
    }
    return text.empty() ? text : text + '}';
}

}  // namespace

std::string open_metrics(const std::vector<Gauge>& gauges) {
    std::string text;
    for (const Gauge& gauge : gauges) {
        text += "# TYPE " + gauge.name + " gauge\n";
        if (!gauge.unit.empty()) text += "# UNIT " + gauge.name + ' ' + gauge.unit + '\n';
        text += "# HELP " + gauge.name + ' ' + gauge.help + '\n';
        for (const auto& [labels, value] : gauge.samples) {
            text += gauge.name + label_set(labels) + ' ' + std::to_string(value) + '\n';
        }
    }
    return text + "# EOF\n";
}

}  // namespace opinitctl
