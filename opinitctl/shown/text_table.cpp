#include "shown/text_table.h"

#include <libsmartcols.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include "shown/safe_text.h"
#include "shown/terminal.h"

namespace opinitctl {
namespace {

using Table = std::unique_ptr<libscols_table, decltype(&scols_unref_table)>;

constexpr std::size_t narrow = 80;

void require(bool done) {
    if (!done) throw std::bad_alloc();
}

bool on_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

const char* colour_of(const std::string& state) {
    for (const char* const good : {"logged_in", "running", "ok", "yes"}) {
        if (state == good) return "green";
    }
    for (const char* const bad : {"failed", "offline", "transport-offline", "problem"}) {
        if (state == bad) return "red";
    }
    return "yellow";
}

std::string human_size(std::uint64_t bytes) {
    static constexpr std::string_view units = "BKMGTPE";
    std::size_t unit = 0;
    auto size = static_cast<double>(bytes);
    while (size >= 1023.95 && unit + 1 < units.size()) {
        size /= 1024;
        ++unit;
    }
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%.1f", size);
    std::string_view number = text.data();
    if (number.ends_with(".0")) number.remove_suffix(2);
    return std::string(number) + units[unit];
}

std::string cell_text(const Value& value, Look look, const TableStyle& style) {
    if (value.is_null()) return style.tree && !style.raw ? "" : "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) return safe_text(value.get<std::string>());
    if (value.is_number()) {
        const auto number = value.get<std::uint64_t>();
        return look == Look::bytes && !style.exact_bytes ? human_size(number) : std::to_string(number);
    }
    const char separator = value.is_object() ? ',' : style.raw || on_terminal() ? '\n' : ' ';
    std::string text;
    for (const Value& part : value) {
        if (!text.empty()) text += separator;
        text += cell_text(part, look, style);
    }
    return text.empty() ? cell_text(Value(), look, style) : text;
}

Table make_table(const TableStyle& style) {
    Table table(scols_new_table(), scols_unref_table);
    require(table != nullptr);
    // All text is made safe before.
    scols_table_enable_noencoding(table.get(), 1);
    scols_table_enable_raw(table.get(), style.raw ? 1 : 0);
    scols_table_enable_noheadings(table.get(), style.headings ? 0 : 1);
    scols_table_enable_colors(table.get(), wants_colours() ? 1 : 0);
    return table;
}

void add_column(libscols_table& table, const std::string& name, Look look, int flags) {
    // Where the terminal is too narrow, a state is cut first, and a name only where hardly one has room. An
    // address never is: it would look like another.
    const std::size_t width = terminal_width(STDOUT_FILENO);
    if (look == Look::list) {
        flags |= SCOLS_FL_WRAP;
    } else if (look == Look::state || (look == Look::text && width < narrow)) {
        flags |= SCOLS_FL_TRUNC;
    }
    libscols_column* const column = scols_table_new_column(&table, name.c_str(), 0, flags);
    require(column != nullptr);
    if (look == Look::list) {
        scols_column_set_wrapfunc(column, scols_wrapnl_chunksize, scols_wrapnl_nextchunk, nullptr);
    }
}

void set_cell(libscols_line& line, std::size_t column, const std::string& text, Look look) {
    require(scols_line_set_data(&line, column, text.c_str()) == 0);
    if (look == Look::state && !text.empty() && text != "-")
        scols_cell_set_color(scols_line_get_cell(&line, column), colour_of(text));
}

void add_lines(libscols_table& table, libscols_line* parent, const std::vector<Heading>& headings,
               const std::vector<Line>& lines, const TableStyle& style) {
    for (const Line& line : lines) {
        libscols_line* const added = scols_table_new_line(&table, parent);
        require(added != nullptr);
        for (std::size_t i = 0; i < headings.size(); ++i) {
            const Look look = headings[i].look;
            set_cell(*added, i, cell_text(line.values[i], look, style), look);
        }
        add_lines(table, added, headings, line.below, style);
    }
}

bool has_number(const std::vector<Line>& lines, std::size_t column) {
    for (const Line& line : lines) {
        if (line.values[column].is_number() || has_number(line.below, column)) return true;
    }
    return false;
}

void print(libscols_table& table) {
    if (scols_print_table(&table) != 0) std::perror("opinitctl: cannot print the table");
}

}  // namespace

void print_table(const std::vector<Heading>& headings, const std::vector<Line>& lines,
                 const TableStyle& style) {
    const Table table = make_table(style);
    for (std::size_t i = 0; i < headings.size(); ++i) {
        const bool is_tree = style.tree && !style.raw && i == 0;
        add_column(*table, heading_text(headings[i]), headings[i].look,
                   (is_tree ? SCOLS_FL_TREE : 0) | (has_number(lines, i) ? SCOLS_FL_RIGHT : 0));
    }
    add_lines(*table, nullptr, headings, lines, style);
    print(*table);
}

void print_lines(const std::vector<Heading>& headings, const Line& line, const TableStyle& style) {
    const Table table = make_table({false, style.exact_bytes, false, style.raw});
    if (style.headings) add_column(*table, "heading", Look::plain, 0);
    add_column(*table, "value", Look::text, 0);
    for (std::size_t i = 0; i < headings.size(); ++i) {
        libscols_line* const added = scols_table_new_line(table.get(), nullptr);
        require(added != nullptr);
        const Look look = headings[i].look;
        if (style.headings) set_cell(*added, 0, heading_text(headings[i]), Look::plain);
        set_cell(*added, style.headings ? 1 : 0, cell_text(line.values[i], look, style), look);
    }
    print(*table);
}

}  // namespace opinitctl
