#pragma once

#include "velmd/status/ServerStatus.h"

#include <cstddef>
#include <string>

/// Statuses to draw pages of.
namespace velm::test {

/// 2026-11-20 22:31:07 UTC.
status::Time sampleNow();

/// A healthy server that nobody uses.
status::ServerStatus quietStatus();

/// A server with something of everything: subscribers that fail, lose, wait and hear; removed ones;
/// providers.
status::ServerStatus livelyStatus();

/// `count` subscribers; each hundredth fails.
status::ServerStatus crowdedStatus(std::size_t count);

/// `text` in every field that text can stand in, and every list with an entry.
status::ServerStatus statusFullOf(const std::string& text);

}  // namespace velm::test
