// A value of an answer: nothing, a truth, a number, a text, several values, or several with names.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace opinitctl {

using Value = nlohmann::ordered_json;
using Values = std::vector<Value>;

/// Null where the host gave nothing.
inline Value text_or_null(const std::string& text) {
    return text.empty() ? Value() : Value(text);
}

template <class Number>
Value number_or_null(const std::optional<Number>& number) {
    return number ? Value(*number) : Value();
}

/// On one line, unless it is indented. All that is not plain ASCII is escaped: text of the host may not be
/// valid, and may play with the terminal.
inline std::string json_text(const Value& value, int indentation = -1) {
    return value.dump(indentation, ' ', true, Value::error_handler_t::replace);
}

}  // namespace opinitctl
