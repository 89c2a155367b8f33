#include "benchmarks/rows/Compare.h"

#include "benchmarks/harness/Placement.h"

namespace velm::bench {

Row timeRow(const Naming& naming, const Series& ours, const Series& limit, As as, const Target& target) {
    return {.number = naming.number,
            .what = naming.what,
            .placement = naming.placement,
            .ours = formatNanoseconds(ours.median()),
            .limit = formatNanoseconds(limit.median()),
            .ratio = as == As::cost ? ratio(ours, limit) : ratio(limit, ours),
            .target = target};
}

Row rateRow(const Naming& naming, const Series& ours, const Series& limit, const Target& target) {
    return {.number = naming.number,
            .what = naming.what,
            .placement = naming.placement,
            .ours = formatRate(ours.median()),
            .limit = formatRate(limit.median()),
            .ratio = ratio(ours, limit),
            .target = target};
}

std::vector<std::pair<int, const char*>> placements() {
    return {{cores().second, "other core"}, {cores().first, "same core"}};
}

Row growthRow(const Naming& naming, const Series& large, const Series& small, const Target& target) {
    return timeRow(naming, large, small, As::cost, target);
}

std::vector<Side> measureSizes(Session& session, int number, const std::string& name,
                               const std::vector<std::pair<double, std::function<Sample()>>>& sizes) {
    std::vector<std::function<Sample()>> sides;
    for (const auto& [size, side] : sizes) {
        sides.push_back(side);
    }
    std::vector<Side> measured = measureInTurn(session.rounds(), sides);
    Curve curve{number, name, {}};
    for (std::size_t index = 0; index < sizes.size(); ++index) {
        curve.points.push_back({sizes[index].first, measured[index].value.median()});
    }
    session.add(std::move(curve));
    return measured;
}

}  // namespace velm::bench
