#include "velmctl/output/Json.h"

#include "velmctl/output/Text.h"

#include <utility>

#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>

namespace velm {

struct Json::Value {
    boost::json::value content;
};

Json::Json() : _value(std::make_unique<Value>()) {
}

Json::Json(std::string_view text) : Json() {
    _value->content = validText(text);
}

Json::Json(const std::vector<std::string>& texts) : Json(array()) {
    for (const std::string& text : texts) {
        append(text);
    }
}

Json::Json(bool flag) : Json() {
    _value->content = flag;
}

Json::Json(std::int64_t number) : Json() {
    _value->content = number;
}

Json::Json(std::uint64_t number) : Json() {
    _value->content = number;
}

Json::Json(double number) : Json() {
    _value->content = number;
}

Json::Json(const Json& other) : _value(std::make_unique<Value>(*other._value)) {
}

Json::Json(Json&& other) noexcept = default;

Json& Json::operator=(Json other) noexcept {
    std::swap(_value, other._value);
    return *this;
}

Json::~Json() = default;

Json Json::object() {
    Json json;
    json._value->content.emplace_object();
    return json;
}

Json Json::array() {
    Json json;
    json._value->content.emplace_array();
    return json;
}

Json& Json::add(std::string_view name, const Json& value) {
    _value->content.as_object()[validText(name)] = value._value->content;
    return *this;
}

Json& Json::append(const Json& value) {
    _value->content.as_array().push_back(value._value->content);
    return *this;
}

std::string Json::text() const {
    return boost::json::serialize(_value->content);
}

}  // namespace velm
