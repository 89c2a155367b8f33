#include "benchmarks/harness/Rounds.h"

#include <algorithm>

namespace velm::bench {

double Series::median() const {
    std::vector<double> sorted = _values;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

double Series::low() const {
    return *std::min_element(_values.begin(), _values.end());
}

double Series::high() const {
    return *std::max_element(_values.begin(), _values.end());
}

std::vector<Side> measureInTurn(int rounds, const std::vector<std::function<Sample()>>& sides) {
    std::vector<Side> results(sides.size());
    for (int round = 0; round <= rounds; ++round) {
        for (std::size_t side = 0; side < sides.size(); ++side) {
            const Sample sample = sides[side]();
            if (round > 0) {
                results[side].value.add(sample.value);
                results[side].second.add(sample.second);
            }
        }
    }
    return results;
}

Series ratio(const Series& ours, const Series& limit) {
    Series result;
    for (std::size_t round = 0; round < ours.values().size(); ++round) {
        result.add(ours.values()[round] / limit.values()[round]);
    }
    return result;
}

}  // namespace velm::bench
