#pragma once

#include "velmd/status/ServerStatus.h"

#include <string_view>

namespace velm {

/// Reads the JSON document that a server tells its status with. Members that are missing keep their defaults
/// and those that nobody knows are passed over, so that servers of other versions are understood as far as
/// they can be.
///
/// Any thread. Throws std::runtime_error when the text is no JSON object, a member has another type, or there
/// is no version.
status::ServerStatus readStatus(std::string_view document);

}  // namespace velm
