#include "commands/listing_options.h"

#include <algorithm>
#include <string>

#include "shown/names.h"

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

CLI::Validator is_column(const std::vector<Heading>& headings) {
    return CLI::Validator(
        [headings](std::string& name) -> std::string {
            for (const Heading& heading : headings) {
                const std::string known = heading_text(heading);
                const std::string meant = as_heading(name);
                if (meant != as_heading(known) && meant != as_heading(heading.key)) continue;
                name = known;
                return {};
            }
            return "there is no column \"" + name + "\"; the columns are " + enumeration(names_of(headings));
        },
        "");
}

}  // namespace

void add_record_options(CLI::App& command, Output& output, const std::vector<Heading>& headings) {
    command
        .add_option("-o,--output", output.chosen,
                    "Columns to show, separated by commas: " + enumeration(names_of(headings)))
        ->type_name("COLUMN")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->transform(is_column(headings));
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
        ->transform(is_column(headings));
}

}  // namespace opinitctl
