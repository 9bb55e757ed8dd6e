// Tables, trees and records for people, by libsmartcols.
#pragma once

#include <vector>

#include "shown/output.h"

namespace opinitctl {

struct TableStyle {
    bool headings;
    bool exact_bytes;
    bool tree;
    bool raw;  ///< for scripts: one blank between values, none in them
};

/// A line for each row, below the headings.
void print_table(const std::vector<Heading>& headings, const std::vector<Line>& lines,
                 const TableStyle& style);

/// A line for each value, beside its heading.
void print_lines(const std::vector<Heading>& headings, const Line& line, const TableStyle& style);

}  // namespace opinitctl
