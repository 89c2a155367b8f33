#pragma once

#include "foundation/utilities/ORVString.h"

#include <optional>
#include <string>
#include <string_view>

namespace velm::providers {

/// A name that the kernel gives, which may hold any bytes, as the text of a CIM key, which must be UTF-8 that
/// XML can carry.
///
/// Text in UTF-8 stays as it is. Each byte of anything else, of a control character, and of U+FFFE and U+FFFF
/// becomes `\xHH` with two upper case digits; the backslash of a name that holds such a text itself becomes
/// `\x5C`. So different names give different texts, and nearly all names are what they look like.
ORVString keyTextOf(std::string_view name);

/// The name that has this text; nothing when keyTextOf() never gives it.
std::optional<std::string> nameOf(const ORVString& keyText);

}  // namespace velm::providers
