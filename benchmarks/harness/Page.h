#pragma once

#include "benchmarks/harness/Row.h"

#include <filesystem>

namespace velm::bench {

/// Replaces what stands between the two marker lines of a Markdown page by date, machine and table. Throws
/// std::runtime_error when the page has no markers.
void writeIntoPage(const Report& report, const std::filesystem::path& page);

}  // namespace velm::bench
