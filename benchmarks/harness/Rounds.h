#pragma once

#include "benchmarks/harness/Worker.h"

#include <functional>
#include <vector>

/// Rounds: each side is measured once, in turn, again and again.
namespace velm::bench {

/// The same quantity over several rounds. Requires for all but add: it is not empty.
class Series {
public:
    Series() = default;
    explicit Series(std::vector<double> values) : _values(std::move(values)) {}

    void add(double value) { _values.push_back(value); }
    double median() const;
    double low() const;
    double high() const;
    const std::vector<double>& values() const& { return _values; }
    void values() && = delete;

private:
    std::vector<double> _values;
};

/// What one side yielded in all rounds.
struct Side {
    Series value;
    Series second;
};

/// Measures each side once per round, in the order given. The first round warms up and does not count.
std::vector<Side> measureInTurn(int rounds, const std::vector<std::function<Sample()>>& sides);

/// Round by round, `ours` divided by `limit`.
Series ratio(const Series& ours, const Series& limit);

}  // namespace velm::bench
