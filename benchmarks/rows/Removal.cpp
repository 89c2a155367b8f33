#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"

#include <fmt/format.h>

// 11 and 12: what a subscriber with 100 subscriptions costs to remove among many others, and what each
// subscription weighs.

namespace velm::bench {

namespace {

/// What an arena for the names and an open-addressing table beside it would take.
constexpr double idealBytes = 96;

void measureOneRemoval(Session& session, InstanceWorlds& worlds, InstanceKind kind) {
    const std::uint32_t large = worlds.large();
    const auto measured =
        measureSizes(session, 11, fmt::format("removal of a subscriber ({})", nameOf(kind)),
                     {{1, session.side(worlds.get(kind, 0), InstanceWorlds::removal)},
                      {1000, session.side(worlds.get(kind, 1000), InstanceWorlds::removal)},
                      {large, session.side(worlds.get(kind, large), InstanceWorlds::removal)}});
    session.add(growthRow(
        {11, fmt::format("removal of 100 of its own, 0 -> {} others ({})", formatCount(large), nameOf(kind)),
         oneCore},
        measured.back().value, measured.front().value, Target::atMost(3, 1.5)));
}

void measureWeight(Session& session, InstanceWorlds& worlds, InstanceKind kind) {
    const Sample bytes =
        worlds.get(kind, worlds.large()).measure(InstanceWorlds::bytesResident, session.deadline());
    const double worse = std::max(bytes.value, bytes.second);
    session.add(Row{.number = 12,
                    .what = fmt::format("memory per instance subscription at {} ({})",
                                        formatCount(worlds.large()), nameOf(kind)),
                    .placement = "",
                    .ours = formatBytes(worse),
                    .limit = formatBytes(idealBytes),
                    .ratio = Series({worse / idealBytes}),
                    .target = Target::atMost(400 / idealBytes, 200 / idealBytes)});
}

}  // namespace

void measureRemoval(Session& session, InstanceWorlds& worlds) {
    for (const InstanceKind kind : {InstanceKind::change, InstanceKind::tree}) {
        session.attempt(11, "removal of a subscriber", [&] { measureOneRemoval(session, worlds, kind); });
    }
}

void measureMemory(Session& session, InstanceWorlds& worlds) {
    for (const InstanceKind kind : {InstanceKind::change, InstanceKind::tree}) {
        session.attempt(12, "memory per instance subscription",
                        [&] { measureWeight(session, worlds, kind); });
    }
}

}  // namespace velm::bench
