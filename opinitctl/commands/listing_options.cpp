#include "commands/listing_options.h"

#include <algorithm>
#include <string>

#include "errors.h"
#include "host/host_files.h"
#include "shown/names.h"

namespace opinitctl {
namespace {

Names names_of(const std::vector<Heading>& headings, bool all = true) {
    Names names;
    for (const Heading& heading : headings) {
        if (all || heading.shown == Shown::always) names.push_back(heading_text(heading));
    }
    return names;
}

// A column is known by its heading and by its key in JSON, in capitals or not.
std::string as_heading(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char character) {
        return character == '_' ? '-' : static_cast<char>(std::toupper(character));
    });
    return name;
}

std::string column_in(const std::string& name, const std::vector<Heading>& headings) {
    for (const Heading& heading : headings) {
        const std::string known = heading_text(heading);
        if (as_heading(name) == known || as_heading(name) == as_heading(heading.key)) return known;
    }
    throw UsageError("there is no column \"" + name + "\"; the columns are " +
                     enumeration(names_of(headings)));
}

}  // namespace

void add_record_options(const CommandLine& command, Output& output, const std::vector<Heading>& headings) {
    const auto choose = [&output, headings](const std::string& word) {
        const bool adds = word.starts_with('+');
        if (adds && output.chosen.empty()) output.chosen = names_of(headings, false);
        for (const std::string& name : split(word.substr(adds ? 1 : 0), ',')) {
            const Names meant = name == "all" ? names_of(headings) : Names{column_in(name, headings)};
            output.chosen.insert(output.chosen.end(), meant.begin(), meant.end());
        }
    };
    command.add_repeatable(
        "-o,--output COLUMN", choose,
        "Columns to show, separated by commas, or \"all\"; +COLUMN for one more than usual: " +
            enumeration(names_of(headings)));
    command.add_flag("-n,--noheadings", output.no_headings, "Print no headings");
    command.add_flag("--raw", output.raw, "Print for scripts: one blank between values, none in them");
    const auto is_size = [](const Heading& heading) { return heading.look == Look::bytes; };
    if (std::any_of(headings.begin(), headings.end(), is_size)) {
        command.add_flag("-b,--bytes", output.bytes, "Print sizes in bytes");
    }
}

void add_listing_options(const CommandLine& command, Output& output, const std::vector<Heading>& headings) {
    add_record_options(command, output, headings);
    const auto sort = [&output, headings](const std::string& word) {
        output.sorted_by = column_in(word, headings);
    };
    command.add("--sort COLUMN", sort, "Sort by a column, what is not known last");
}

}  // namespace opinitctl
