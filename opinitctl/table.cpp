#include "table.h"

#include <algorithm>
#include <iostream>

#include "safe_text.h"

namespace opinitctl {
namespace {

constexpr std::size_t gap = 2;

std::string heading(std::string key) {
    for (char& character : key) {
        character =
            character == '_' ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    return key;
}

std::string cell(const Json& value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    return value.is_string() ? safe_text(value.get_ref<const std::string&>()) : value.dump();
}

struct TableColumn {
    std::vector<std::string> cells;  // the heading first
    std::size_t width = 0;
    bool numeric = false;
};

TableColumn make_column(const std::string& key, const Json& objects) {
    TableColumn column;
    column.cells.push_back(heading(key));
    for (const Json& object : objects) {
        column.cells.push_back(cell(object.at(key)));
        column.numeric |= object.at(key).is_number();
    }
    for (const std::string& text : column.cells) column.width = std::max(column.width, text.size());
    return column;
}

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::string padding(width - text.size(), ' ');
    return right ? padding + text : text + padding;
}

void print_trimmed(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
}

}  // namespace

void Output::print_json(const Json& value) {
    // Escaping all that is not ASCII also keeps control characters from the terminal.
    std::cout << value.dump(2, ' ', true, Json::error_handler_t::replace) << '\n';
}

void Output::print_table(const std::vector<std::string>& keys, const Json& objects) {
    std::vector<TableColumn> columns;
    for (const std::string& key : keys) columns.push_back(make_column(key, objects));
    for (std::size_t row = 0; row <= objects.size(); ++row) {
        std::string line;
        for (const TableColumn& column : columns) {
            line += padded(column.cells[row], column.width, column.numeric) + std::string(gap, ' ');
        }
        print_trimmed(line);
    }
}

void Output::print_lines(const Json& object) {
    std::size_t width = 0;
    for (const auto& item : object.items()) width = std::max(width, item.key().size());
    for (const auto& item : object.items()) {
        print_trimmed(padded(heading(item.key()), width + gap, false) + cell(item.value()));
    }
}

void Output::done(const std::string& sentence) const {
    if (json) {
        print_json({{"done", sentence}});
    } else {
        std::cout << safe_text(sentence) << '\n';
    }
}

}  // namespace opinitctl
