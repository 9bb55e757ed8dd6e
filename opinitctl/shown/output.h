// Results on standard output: tables, trees and lines for people, JSON for programs, out of one description
// of a row.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "shown/value.h"

namespace opinitctl {

/// How a column's values look in a table.
enum class Look {
    plain,
    text,   ///< may be long: cut on a terminal of less than 80 columns
    list,   ///< one value a line on a terminal
    state,  ///< coloured by what it means
    bytes,  ///< a size for people, unless --bytes is given
};

/// When a column is in a table. JSON always has it.
enum class Shown { always, on_request };

/// A column apart from where its values come from.
struct Heading {
    const char* key;
    Look look = Look::plain;
    Shown shown = Shown::always;
};

/// The values of a row in the order of the headings, and the rows below it in a tree.
struct Line {
    Values values;
    std::vector<Line> below;
};

/// One value of a row: its key in JSON, which is also its heading, and how it is taken from the row.
template <class Row>
struct Column {
    const char* key;
    Value (*value)(const Row&);
    Look look = Look::plain;
    Shown shown = Shown::always;
};

template <class Row>
using Columns = std::vector<Column<Row>>;

/// What `key` reads like in a table and behind -o.
std::string heading_text(const Heading& heading);

template <class Row>
std::vector<Heading> headings_of(const Columns<Row>& columns) {
    std::vector<Heading> headings;
    for (const Column<Row>& column : columns) headings.push_back({column.key, column.look, column.shown});
    return headings;
}

class Output {
public:
    // Set while the command line is read.
    bool json = false;
    bool bytes = false;
    bool no_headings = false;
    bool raw = false;
    std::vector<std::string> chosen;  ///< headings of the columns to show, or none for the usual ones
    std::string sorted_by;            ///< heading, or empty

    /// Any number of rows: a table, or an array of objects.
    template <class Row>
    void list(const Columns<Row>& columns, const std::vector<Row>& rows) const {
        print_list(headings_of(columns), lines_of(columns, rows));
    }

    /// The same with rows below rows, which each row has in `below`: a tree, or objects with "children".
    template <class Row>
    void tree(const Columns<Row>& columns, const std::vector<Row>& rows) const {
        print_tree(headings_of(columns), lines_of(columns, rows));
    }

    /// Exactly one row: a line for each value, or one object.
    template <class Row>
    void record(const Columns<Row>& columns, const Row& row) const {
        print_record(headings_of(columns), line_of(columns, row));
    }

    /// What was done: a sentence, or an object that holds it and the details.
    void done(const std::string& sentence, const Value& details = Value::object()) const;

private:
    template <class Row>
    static Line line_of(const Columns<Row>& columns, const Row& row) {
        Line line;
        for (const Column<Row>& column : columns) line.values.push_back(column.value(row));
        if constexpr (requires { row.below; }) line.below = lines_of(columns, row.below);
        return line;
    }

    template <class Row>
    static std::vector<Line> lines_of(const Columns<Row>& columns, const std::vector<Row>& rows) {
        std::vector<Line> lines;
        for (const Row& row : rows) lines.push_back(line_of(columns, row));
        return lines;
    }

    void print_list(const std::vector<Heading>& headings, std::vector<Line> lines) const;
    void print_tree(const std::vector<Heading>& headings, std::vector<Line> lines) const;
    void print_record(const std::vector<Heading>& headings, const Line& line) const;
    void arrange(std::vector<Heading>& headings, std::vector<Line>& lines) const;
};

/// The text in a field of a record, which need not be terminated.
template <std::size_t Size>
std::string field_text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}

}  // namespace opinitctl
