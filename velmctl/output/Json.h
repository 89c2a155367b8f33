#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// A JSON value that is made and written, never read. Used by one thread.
class Json {
public:
    /// null.
    Json();
    Json(std::string_view text);
    Json(const char* text) : Json(std::string_view(text)) {}
    Json(const std::string& text) : Json(std::string_view(text)) {}
    Json(const std::vector<std::string>& texts);
    Json(bool flag);
    Json(int number) : Json(static_cast<std::int64_t>(number)) {}
    Json(std::int64_t number);
    Json(std::uint64_t number);
    Json(double number);
    Json(const Json& other);
    Json(Json&& other) noexcept;
    Json& operator=(Json other) noexcept;
    ~Json();

    static Json object();
    static Json array();

    /// Adds a member. Requires: this is an object.
    Json& add(std::string_view name, const Json& value);
    /// Adds an element. Requires: this is an array.
    Json& append(const Json& value);

    /// On one line.
    std::string text() const;

private:
    struct Value;
    std::unique_ptr<Value> _value;
};

}  // namespace velm
