#include "shown/value.h"

#include <nlohmann/json.hpp>

namespace opinitctl {
namespace {

using Json = nlohmann::ordered_json;

// Not libsmartcols' JSON: that wraps every answer into an object of its own, knows neither a single record
// nor a value with parts, and lets bytes pass that are no UTF-8.
struct ToJson {
    Json operator()(std::monostate) const { return {}; }
    Json operator()(bool truth) const { return truth; }
    Json operator()(std::uint64_t number) const { return number; }
    Json operator()(const std::string& text) const { return text; }
    Json operator()(const Values& values) const {
        Json array = Json::array();
        for (const Value& value : values) array.push_back(std::visit(*this, value.content));
        return array;
    }
    Json operator()(const Fields& fields) const {
        Json object = Json::object();
        for (const auto& [name, value] : fields) object[name] = std::visit(*this, value.content);
        return object;
    }
};

}  // namespace

bool Value::operator<(const Value& other) const {
    return content < other.content;
}

Value text_or_null(std::string text) {
    return text.empty() ? Value() : Value(std::move(text));
}

std::string json_text(const Value& value, Layout layout) {
    const Json json = std::visit(ToJson(), value.content);
    return json.dump(layout == Layout::indented ? 2 : -1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace opinitctl
