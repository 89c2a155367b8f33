#pragma once

#include "benchmarks/harness/Row.h"
#include "benchmarks/harness/Session.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The two usual forms of a row.
namespace velm::bench {

/// How a time is held against a limit: as speed (limit / ours, more is better) or as cost (ours / limit).
enum class As { speed, cost };

using Formatter = std::string (*)(double);

struct Naming {
    int number;
    std::string what;
    std::string placement;
};

/// Ours against a limit that was measured in the same rounds, both in nanoseconds.
Row timeRow(const Naming& naming, const Series& ours, const Series& limit, As as, const Target& target);

/// Ours against a limit, both per second.
Row rateRow(const Naming& naming, const Series& ours, const Series& limit, const Target& target);

/// The cost at a large size against that at a small one.
Row growthRow(const Naming& naming, const Series& large, const Series& small, const Target& target);

inline constexpr const char* oneCore = "one core";

/// Where a peer may stand: its core, and how the table calls that.
std::vector<std::pair<int, const char*>> placements();

/// Measures the same at several sizes, in turn, and adds the points as a curve.
std::vector<Side> measureSizes(Session& session, int number, const std::string& name,
                               const std::vector<std::pair<double, std::function<Sample()>>>& sizes);

}  // namespace velm::bench
