#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"

#include <fmt/format.h>

// 4 and 5: a report about one instance among many subscriptions to single instances.

namespace velm::bench {

namespace {

std::vector<std::pair<double, std::function<Sample()>>> sidesOf(Session& session, InstanceWorlds& worlds,
                                                                InstanceKind kind,
                                                                InstanceWorlds::Measurement what) {
    const std::vector<std::uint32_t> full{1000, 10'000, 100'000, worlds.large()};
    const std::vector<std::uint32_t> quick{1000, worlds.large()};
    std::vector<std::pair<double, std::function<Sample()>>> sides;
    for (const std::uint32_t size : session.sized(full, quick)) {
        sides.emplace_back(size, session.side(worlds.get(kind, size), what));
    }
    return sides;
}

void measureMatch(Session& session, InstanceWorlds& worlds, InstanceKind kind) {
    const auto count = worlds.large();
    const auto sides =
        measureInTurn(session.rounds(), {session.side(worlds.get(kind, count), InstanceWorlds::match),
                                         session.side(worlds.ideal(count), InstanceWorlds::match)});
    session.add(
        timeRow({4, fmt::format("notify, 1 match in {} ({})", formatCount(count), nameOf(kind)), oneCore},
                sides[0].value, sides[1].value, As::speed, Target::atLeast(0.3, 0.6)));
}

void measureNoMatch(Session& session, InstanceWorlds& worlds, InstanceKind kind) {
    const auto sizes = sidesOf(session, worlds, kind, InstanceWorlds::noMatch);
    const auto measured =
        measureSizes(session, 5, fmt::format("notify without a match ({})", nameOf(kind)), sizes);
    session.add(growthRow(
        {5, fmt::format("notify, no match, 1,000 -> {} ({})", formatCount(sizes.back().first), nameOf(kind)),
         oneCore},
        measured.back().value, measured.front().value, Target::atMost(1.5, 1.2)));
}

}  // namespace

void measureRouting(Session& session, InstanceWorlds& worlds) {
    for (const InstanceKind kind : {InstanceKind::change, InstanceKind::tree}) {
        session.attempt(4, "notify, one match", [&] { measureMatch(session, worlds, kind); });
        session.attempt(5, "notify, no match", [&] { measureNoMatch(session, worlds, kind); });
    }
}

}  // namespace velm::bench
