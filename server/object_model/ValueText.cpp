#include "server/object_model/ValueText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

namespace velm::text {

namespace {

struct IntegerType {
    std::string_view name;
    std::int64_t lowest;
    std::uint64_t highest;
};

template <class T>
constexpr IntegerType rangeOf(std::string_view name) {
    return {name, static_cast<std::int64_t>(std::numeric_limits<T>::min()),
            static_cast<std::uint64_t>(std::numeric_limits<T>::max())};
}

constexpr std::array integerTypes{rangeOf<std::uint8_t>("uint8"),   rangeOf<std::int8_t>("sint8"),
                                  rangeOf<std::uint16_t>("uint16"), rangeOf<std::int16_t>("sint16"),
                                  rangeOf<std::uint32_t>("uint32"), rangeOf<std::int32_t>("sint32"),
                                  rangeOf<std::uint64_t>("uint64"), rangeOf<std::int64_t>("sint64")};

const IntegerType* findInteger(std::string_view name) {
    const auto* found = std::find_if(integerTypes.begin(), integerTypes.end(),
                                     [name](const IntegerType& type) { return type.name == name; });
    return found == integerTypes.end() ? nullptr : found;
}

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase) {
    return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                      [](char left, char right) { return lower(left) == right; });
}

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

struct Magnitude {
    bool negative;
    std::uint64_t value;
};

std::optional<Magnitude> toMagnitude(std::string_view text) {
    Magnitude result{text.starts_with('-'), 0};
    if (text.starts_with('-') || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, result.value, base);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return result;
}

template <class Real>
std::optional<double> toReal(std::string_view text) {
    constexpr Real infinity = std::numeric_limits<Real>::infinity();
    for (auto [name, value] :
         {std::pair{"inf", infinity}, std::pair{"+inf", infinity}, std::pair{"-inf", -infinity},
          std::pair{"nan", std::numeric_limits<Real>::quiet_NaN()}}) {
        if (equalsIgnoringCase(text, name)) {
            return static_cast<double>(value);
        }
    }
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    Real value = 0;
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    // from_chars also takes words such as "infinity" and "nan(1)".
    if (error != std::errc() || stop != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return static_cast<double>(value);
}

template <class Real>
std::string fromReal(Real value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-INF" : "INF";
    }
    std::array<char, 64> block;
    auto [end, error] = std::to_chars(block.data(), block.data() + block.size(), value);
    std::string text(block.data(), end);
    if (text.find('.') == std::string::npos) {
        text.insert(std::min(text.find('e'), text.size()), ".0");
    }
    return text;
}

/// The fields of a date, from the left; an asterisk stands for a whole field and everything behind it.
struct Field {
    std::size_t length;
    unsigned int lowest;
    unsigned int highest;
};

constexpr std::array timestampFields{Field{4, 0, 9999}, Field{2, 1, 12}, Field{2, 1, 31},
                                     Field{2, 0, 23},   Field{2, 0, 59}, Field{2, 0, 60}};
constexpr std::array intervalFields{Field{8, 0, 99999999}, Field{2, 0, 23}, Field{2, 0, 59}, Field{2, 0, 59}};

bool isNumberWithin(std::string_view text, const Field& field) {
    unsigned int value = 0;
    auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return std::all_of(text.begin(), text.end(), isDigit) && error == std::errc() && value >= field.lowest &&
           value <= field.highest;
}

bool isAsterisks(std::string_view text) {
    return text.find_first_not_of('*') == std::string_view::npos;
}

/// `text` ends with a point and six digits for the fraction, any number of which may be asterisks from the
/// right.
bool hasFields(std::string_view text, std::span<const Field> fields) {
    for (const Field& field : fields) {
        if (isNumberWithin(text.substr(0, field.length), field)) {
            text.remove_prefix(field.length);
            continue;
        }
        auto point = text.find('.');
        return point == text.size() - 7 && isAsterisks(text.substr(0, point)) &&
               isAsterisks(text.substr(point + 1));
    }
    auto fraction = text.substr(1);
    auto digits = std::min(fraction.find('*'), fraction.size());
    return text.front() == '.' &&
           std::all_of(fraction.begin(), fraction.begin() + static_cast<std::ptrdiff_t>(digits), isDigit) &&
           isAsterisks(fraction.substr(digits));
}

}  // namespace

std::string_view trim(std::string_view text) {
    constexpr std::string_view space = " \t\r\n";
    auto first = text.find_first_not_of(space);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::optional<bool> toBoolean(std::string_view text) {
    if (equalsIgnoringCase(text, "true")) {
        return true;
    }
    if (equalsIgnoringCase(text, "false")) {
        return false;
    }
    return std::nullopt;
}

std::optional<std::int64_t> toSigned(std::string_view text) {
    constexpr auto highest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    auto magnitude = toMagnitude(text);
    if (!magnitude || magnitude->value > highest + (magnitude->negative ? 1 : 0)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(magnitude->negative ? 0 - magnitude->value : magnitude->value);
}

std::optional<std::uint64_t> toUnsigned(std::string_view text) {
    auto magnitude = toMagnitude(text);
    if (!magnitude || (magnitude->negative && magnitude->value != 0)) {
        return std::nullopt;
    }
    return magnitude->value;
}

std::optional<double> toReal32(std::string_view text) {
    return toReal<float>(text);
}

std::optional<double> toReal64(std::string_view text) {
    return toReal<double>(text);
}

std::string fromReal32(double value) {
    return fromReal(static_cast<float>(value));
}

std::string fromReal64(double value) {
    return fromReal(value);
}

bool isChar16(std::string_view text) {
    if (text.empty()) {
        return false;
    }
    auto lead = static_cast<unsigned char>(text.front());
    std::size_t length = lead < 0x80                   ? 1
                         : lead >= 0xC2 && lead < 0xE0 ? 2
                         : lead >= 0xE0 && lead < 0xF0 ? 3
                                                       : 0;
    return text.size() == length && std::all_of(text.begin() + 1, text.end(), [](char byte) {
               return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
           });
}

bool isDateTime(std::string_view text) {
    constexpr std::size_t length = 25;
    constexpr std::size_t signAt = 21;
    if (text.size() != length || !std::all_of(text.begin() + signAt + 1, text.end(), isDigit)) {
        return false;
    }
    auto fields = text.substr(0, signAt);
    switch (text[signAt]) {
        case '+':
        case '-':
            return hasFields(fields, timestampFields);
        case ':':
            return text.ends_with("000") && hasFields(fields, intervalFields);
        default:
            return false;
    }
}

bool fits(std::int64_t value, std::string_view type) {
    const IntegerType* range = findInteger(type);
    return range && value >= range->lowest &&
           (value < 0 || static_cast<std::uint64_t>(value) <= range->highest);
}

bool fits(std::uint64_t value, std::string_view type) {
    const IntegerType* range = findInteger(type);
    return range && value <= range->highest;
}

std::optional<Content> contentOf(std::string_view type) {
    if (const IntegerType* range = findInteger(type)) {
        return range->lowest < 0 ? Content::signedInteger : Content::unsignedInteger;
    }
    constexpr std::array<std::pair<std::string_view, Content>, 8> others{{{"boolean", Content::boolean},
                                                                          {"string", Content::text},
                                                                          {"char16", Content::text},
                                                                          {"datetime", Content::text},
                                                                          {"real32", Content::real},
                                                                          {"real64", Content::real},
                                                                          {"reference", Content::reference},
                                                                          {"instance", Content::instance}}};
    const auto* found =
        std::find_if(others.begin(), others.end(), [type](const auto& other) { return other.first == type; });
    return found == others.end() ? std::nullopt : std::optional(found->second);
}

Literal toLiteral(std::string_view text, std::string_view type) {
    auto literal = trim(text);
    auto orNothing = [](const auto& value) { return value ? Literal(*value) : Literal(); };
    auto ifFits = [type, &orNothing](const auto& value) {
        return value && fits(*value, type) ? orNothing(value) : Literal();
    };
    switch (contentOf(type).value_or(Content::text)) {
        case Content::boolean:
            return orNothing(toBoolean(literal));
        case Content::signedInteger:
            return ifFits(toSigned(literal));
        case Content::unsignedInteger:
            return ifFits(toUnsigned(literal));
        case Content::real:
            return orNothing(type == "real32" ? toReal32(literal) : toReal64(literal));
        default:
            return {};
    }
}

}  // namespace velm::text
