#pragma once

#include "velmd/status/ServerStatus.h"

#include <string>
#include <string_view>

namespace velm::status {

/// "2026-11-20T14:33:42.007Z": UTC, ISO 8601.
std::string utcText(Time time);

/// `text` with U+FFFD in place of each byte that is no part of a UTF-8 character: clients choose names, and
/// documents must be well-formed whatever they chose.
std::string wellFormed(std::string_view text);

/// The same with U+FFFD in place of control characters, too.
std::string printable(std::string_view text);

}  // namespace velm::status
