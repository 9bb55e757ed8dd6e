// A value of an answer.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace opinitctl {

struct Value;
using Values = std::vector<Value>;
using Fields = std::vector<std::pair<std::string, Value>>;

/// Nothing, a truth, a number, a text, several values, or several with names. Not the JSON library's own
/// type: that takes the compiler longer than all else here.
struct Value {
    std::variant<std::monostate, bool, std::uint64_t, std::string, Values, Fields> content;

    Value() = default;
    Value(std::same_as<bool> auto truth) : content(truth) {}
    Value(std::unsigned_integral auto number) requires(!std::same_as<decltype(number), bool>)
        : content(std::uint64_t{number}) {}
    Value(std::string text) : content(std::move(text)) {}
    Value(const char* text) : content(std::string(text)) {}
    Value(Values values) : content(std::move(values)) {}
    Value(Fields fields) : content(std::move(fields)) {}

    template <class Kind>
    const Kind* as() const {
        return std::get_if<Kind>(&content);
    }
    bool is_null() const { return as<std::monostate>() != nullptr; }

    bool operator<(const Value& other) const;
};

/// Null where the host gave nothing.
Value text_or_null(std::string text);

template <class Number>
Value number_or_null(const std::optional<Number>& number) {
    return number ? Value(*number) : Value();
}

template <class Item>
Values values_of(const std::vector<Item>& items) {
    return Values(items.begin(), items.end());
}

/// On one line, or over several. All that is not plain ASCII is escaped: text of the host may not be valid,
/// and may play with the terminal.
enum class Layout { one_line, indented };
std::string json_text(const Value& value, Layout layout);

}  // namespace opinitctl
