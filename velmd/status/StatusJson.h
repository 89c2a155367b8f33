#pragma once

#include "velmd/status/ServerStatus.h"

#include <string>

namespace velm::status {

/// The status as a JSON document (RFC 8259) on one line.
///
/// Members are called as in ServerStatus. Times are ISO 8601 in UTC with milliseconds, the step of the rates
/// is in seconds, what is absent is null. Bytes of clients that are not UTF-8 are replaced by U+FFFD.
std::string toJson(const ServerStatus& status);

}  // namespace velm::status
