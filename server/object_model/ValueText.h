#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// The texts of CIM values (DSP0201, values of properties). Nothing here depends on the locale or throws
/// anything but std::bad_alloc; a text that is no such value gives an empty result.
namespace velm::text {

/// Without the spaces, tabs and line ends at both ends.
std::string_view trim(std::string_view text);

/// TRUE or FALSE in any letter case.
std::optional<bool> toBoolean(std::string_view text);

/// Decimal or 0x, with an optional sign.
std::optional<std::int64_t> toSigned(std::string_view text);
std::optional<std::uint64_t> toUnsigned(std::string_view text);

/// A decimal number, or INF, -INF, NaN in any letter case. Empty when a float or a double cannot hold the
/// number.
std::optional<double> toReal32(std::string_view text);
std::optional<double> toReal64(std::string_view text);

using Literal = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double>;

/// The value of a boolean, an integer that fits `type`, or a real; white space around it does not count.
Literal toLiteral(std::string_view text, std::string_view type);

/// The shortest decimal text that reads back as the same number, always with a point and a digit behind it.
std::string fromReal32(double value);
std::string fromReal64(double value);

/// Whether `text` is one character of the basic plane, in UTF-8.
bool isChar16(std::string_view text);

/// Whether `text` has the 25 characters of a timestamp or an interval, unknown fields at its end given as
/// asterisks.
bool isDateTime(std::string_view text);

/// Whether `value` fits `type` ("uint8" ... "sint64"); false for the name of any other type.
bool fits(std::int64_t value, std::string_view type);
bool fits(std::uint64_t value, std::string_view type);

enum class Content { boolean, signedInteger, unsignedInteger, real, text, reference, instance };

/// How values of the CIM type with this name are kept; empty when there is no such type.
std::optional<Content> contentOf(std::string_view type);

}  // namespace velm::text
