#include "listing_options.h"

#include <algorithm>
#include <string>

#include "names.h"

namespace opinitctl {
namespace {

Names names_of(const std::vector<Heading>& headings) {
    Names names;
    for (const Heading& heading : headings) names.push_back(heading_text(heading));
    return names;
}

// A column is known by its heading and by its key in JSON, in capitals or not.
std::string as_heading(std::string name) {
    std::replace(name.begin(), name.end(), '_', '-');
    return CLI::detail::to_lower(name);
}

CLI::Validator is_column(const Names& names) {
    return CLI::Validator(
        [names](std::string& name) -> std::string {
            for (const std::string& known : names) {
                if (as_heading(known) != as_heading(name)) continue;
                name = known;
                return {};
            }
            return "there is no column \"" + name + "\"; the columns are " + enumeration(names);
        },
        "");
}

}  // namespace

void add_record_options(CLI::App& command, Output& output, const std::vector<Heading>& headings) {
    const Names names = names_of(headings);
    command.add_option("-o,--output", output.chosen, "Columns to show, of " + enumeration(names))
        ->type_name("COLUMN,...")
        ->delimiter(',')
        ->expected(1)
        ->transform(is_column(names));
    command.add_flag("--noheadings", output.no_headings, "Print no headings");
    const auto is_size = [](const Heading& heading) { return heading.look == Look::bytes; };
    if (std::any_of(headings.begin(), headings.end(), is_size)) {
        command.add_flag("--bytes", output.bytes, "Print sizes in bytes");
    }
}

void add_listing_options(CLI::App& command, Output& output, const std::vector<Heading>& headings) {
    add_record_options(command, output, headings);
    command.add_option("--sort", output.sorted_by, "Sort by a column, what is not known last")
        ->type_name("COLUMN")
        ->transform(is_column(names_of(headings)));
}

}  // namespace opinitctl
