#pragma once

#include "benchmarks/harness/Rounds.h"

#include <optional>
#include <string>
#include <vector>

/// What the runner reports.
namespace velm::bench {

/// What a ratio has to be. Rows without a target are only shown.
struct Target {
    enum class Sense { none, atLeast, atMost };

    Sense sense = Sense::none;
    double wanted = 0;
    /// What would be better still.
    double wished = 0;
    /// Behind the numbers, for ratios that are no ratios: " %".
    std::string unit = {};

    static Target atLeast(double wanted, double wished) { return {Sense::atLeast, wanted, wished}; }
    static Target atMost(double wanted, double wished, std::string unit = {}) {
        return {Sense::atMost, wanted, wished, std::move(unit)};
    }
};

/// One line of the table. A row number may have several lines: placements, kinds, sizes. It is met when all
/// its lines are.
struct Row {
    int number;
    std::string what;
    std::string placement;
    /// As text, with units.
    std::string ours;
    std::string limit;
    /// Of all rounds. Not empty, unless the row failed.
    Series ratio;
    Target target;
    /// Why there is no ratio; empty when there is one.
    std::string failure = {};

    /// Empty when there is nothing to meet.
    std::optional<bool> isMet() const;
    /// Names the line in recorded figures.
    std::string key() const { return std::to_string(number) + " " + what + " / " + placement; }
};

/// Points of a curve: a size and what one operation costs there.
struct Curve {
    struct Point {
        double size;
        double cost;
    };

    int number;
    std::string name;
    std::vector<Point> points;
};

struct Report {
    std::vector<Row> rows;
    std::vector<Curve> curves;
};

/// "412 ns", "1.30 us", "8.2 ms".
std::string formatNanoseconds(double nanoseconds);
/// "12,345/s".
std::string formatRate(double perSecond);
/// "1,234 B".
std::string formatBytes(double bytes);
/// "1,000,000".
std::string formatCount(double count);

}  // namespace velm::bench
