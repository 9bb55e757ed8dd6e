// Results on standard output: aligned columns for people, JSON for programs, out of one description of a row.
#pragma once

#include <cstddef>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace opinitctl {

using Json = nlohmann::ordered_json;

/// One value of a row: its key in JSON, which is also its heading, and how it is taken from the row.
template <class Row>
struct Column {
    const char* key;
    Json (*value)(const Row&);
};

template <class Row>
using Columns = std::vector<Column<Row>>;

class Output {
public:
    /// Set while the command line is read.
    bool json = false;

    /// Any number of rows: a table, or an array of objects.
    template <class Row>
    void list(const Columns<Row>& columns, const std::vector<Row>& rows) const {
        Json objects = Json::array();
        for (const Row& row : rows) objects.push_back(object(columns, row));
        json ? print_json(objects) : print_table(keys(columns), objects);
    }

    /// Exactly one row: a line for each value, or one object.
    template <class Row>
    void record(const Columns<Row>& columns, const Row& row) const {
        json ? print_json(object(columns, row)) : print_lines(object(columns, row));
    }

    /// What was done: a sentence, or an object that holds it.
    void done(const std::string& sentence) const;

private:
    template <class Row>
    static Json object(const Columns<Row>& columns, const Row& row) {
        Json object = Json::object();
        for (const Column<Row>& column : columns) object[column.key] = column.value(row);
        return object;
    }

    template <class Row>
    static std::vector<std::string> keys(const Columns<Row>& columns) {
        std::vector<std::string> keys;
        for (const Column<Row>& column : columns) keys.emplace_back(column.key);
        return keys;
    }

    static void print_json(const Json& value);
    static void print_table(const std::vector<std::string>& keys, const Json& objects);
    static void print_lines(const Json& object);
};

/// The text in a field of a record, which need not be terminated.
template <std::size_t Size>
std::string field_text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}

/// Null where the host gave nothing.
inline Json text_or_null(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

}  // namespace opinitctl
