#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace velm::test {

/// What a face of the daemon counts, by kind and name, under the same names for all faces. What is 0 is not
/// there: not every face shows what never happened.
using Numbers = std::map<std::string, std::map<std::string, std::uint64_t>>;

/// Of /status.json, and of what velmctl makes of it.
Numbers numbersOfStatus(const std::string& json);
/// Of /metrics.
Numbers numbersOfMetrics(const std::string& text);
/// Of the page.
Numbers numbersOfPage(const std::string& html);

}  // namespace velm::test
