#pragma once

#include "benchmarks/harness/Row.h"

#include <string>

namespace velm::bench {

/// The table's head and one line of it, for a terminal.
std::string tableHead();
std::string tableLine(const Row& row);

/// The whole table in Markdown, in order of row numbers.
std::string markdownTable(const Report& report);

/// "yes", "no", or nothing when there is nothing to meet.
std::string metText(const Row& row);

}  // namespace velm::bench
