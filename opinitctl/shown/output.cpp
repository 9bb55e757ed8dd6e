#include "shown/output.h"

#include <algorithm>
#include <iostream>
#include <iterator>

#include "shown/safe_text.h"
#include "shown/text_table.h"

namespace opinitctl {
namespace {

Value object_of(const std::vector<Heading>& headings, const Line& line) {
    Value object = Value::object();
    for (std::size_t i = 0; i < headings.size(); ++i) object[headings[i].key] = line.values[i];
    return object;
}

Value objects_of(const std::vector<Heading>& headings, const std::vector<Line>& lines, bool with_children) {
    Value objects = Value::array();
    for (const Line& line : lines) {
        objects.push_back(object_of(headings, line));
        if (with_children) objects.back()["children"] = objects_of(headings, line.below, true);
    }
    return objects;
}

void print_json(const Value& value) {
    constexpr int indentation = 2;
    std::cout << json_text(value, indentation) << '\n';
}

// Where `names` stand among the headings. The command line was checked against them.
std::vector<std::size_t> positions(const std::vector<Heading>& headings,
                                   const std::vector<std::string>& names) {
    std::vector<std::size_t> found;
    for (const std::string& name : names) {
        const auto is_named = [&name](const Heading& heading) { return heading_text(heading) == name; };
        const auto heading = std::find_if(headings.begin(), headings.end(), is_named);
        if (heading != headings.end()) found.push_back(static_cast<std::size_t>(heading - headings.begin()));
    }
    return found;
}

std::vector<std::size_t> usual_positions(const std::vector<Heading>& headings, bool all) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < headings.size(); ++i) {
        if (all || headings[i].shown == Shown::always) found.push_back(i);
    }
    return found;
}

// What the host did not give comes last.
bool comes_before(const Value& left, const Value& right) {
    return left.is_null() != right.is_null() ? right.is_null() : left < right;
}

void sort_lines(std::vector<Line>& lines, std::size_t column) {
    std::stable_sort(lines.begin(), lines.end(), [column](const Line& left, const Line& right) {
        return comes_before(left.values[column], right.values[column]);
    });
    for (Line& line : lines) sort_lines(line.below, column);
}

template <class Item>
void keep(std::vector<Item>& items, const std::vector<std::size_t>& positions) {
    std::vector<Item> kept;
    for (const std::size_t position : positions) kept.push_back(items[position]);
    items = std::move(kept);
}

void keep_values(std::vector<Line>& lines, const std::vector<std::size_t>& positions) {
    for (Line& line : lines) {
        keep(line.values, positions);
        keep_values(line.below, positions);
    }
}

}  // namespace

std::string heading_text(const Heading& heading) {
    std::string text = heading.key;
    if (heading.look == Look::bytes && text.ends_with("_bytes")) text.resize(text.size() - 6);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
        return character == '_' ? '-' : static_cast<char>(std::toupper(character));
    });
    return text;
}

void Output::arrange(std::vector<Heading>& headings, std::vector<Line>& lines) const {
    if (!sorted_by.empty()) sort_lines(lines, positions(headings, {sorted_by}).front());
    const std::vector<std::size_t> kept =
        chosen.empty() ? usual_positions(headings, json) : positions(headings, chosen);
    keep(headings, kept);
    keep_values(lines, kept);
}

void Output::print_list(const std::vector<Heading>& all, std::vector<Line> lines) const {
    std::vector<Heading> headings = all;
    arrange(headings, lines);
    if (json) return print_json(objects_of(headings, lines, false));
    print_table(headings, lines, {!no_headings, bytes, false, raw});
}

void Output::print_tree(const std::vector<Heading>& all, std::vector<Line> lines) const {
    std::vector<Heading> headings = all;
    arrange(headings, lines);
    if (json) return print_json(objects_of(headings, lines, true));
    print_table(headings, lines, {!no_headings, bytes, true, raw});
}

void Output::print_record(const std::vector<Heading>& all, const Line& line) const {
    std::vector<Heading> headings = all;
    std::vector<Line> lines = {line};
    arrange(headings, lines);
    if (json) return print_json(object_of(headings, lines.front()));
    print_lines(headings, lines.front(), {!no_headings, bytes, false, raw});
}

void Output::done(const std::string& sentence, const Value& details) const {
    if (!json) {
        std::cout << safe_text(sentence) << '\n';
        return;
    }
    Value object = Value::object();
    object["done"] = sentence;
    object.update(details);
    print_json(object);
}

}  // namespace opinitctl
