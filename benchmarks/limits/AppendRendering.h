#pragma once

#include "benchmarks/world/Events.h"

#include <string>
#include <string_view>

namespace velm::bench {

/// Appends the export document of an event to `text`, piece by piece: the bytes that the library writes, with
/// every tag known beforehand and nothing looked at or escaped.
void appendDocument(const FullEventText& event, std::string_view messageID, std::string_view time,
                    std::string& text);

/// Throws std::runtime_error unless `ours`, a document of the library's about this event, is what
/// appendDocument() writes.
void requireSameDocument(const FullEventText& event, std::string_view ours);

}  // namespace velm::bench
