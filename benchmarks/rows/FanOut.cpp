#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/limits/Drainer.h"
#include "benchmarks/limits/ThinQueue.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <algorithm>
#include <deque>
#include <memory>

#include <fmt/format.h>

// 8: one report for many subscribers on one filter.

namespace velm::bench {

namespace {

constexpr std::uint32_t few = 10;
constexpr std::uint32_t many = 10'000;

constexpr std::size_t deliveries = 500'000;

std::vector<Measurement> ours(const Session& session, std::uint32_t subscribers) {
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().second);
    for (std::uint32_t index = 0; index < subscribers; ++index) {
        world->subscribeToCreations(world->addDrained(index), fileClass);
    }
    return {[world, subscribers] {
        std::uint32_t next = 0;
        const double whole = meanTime(
            deliveries / subscribers,
            [&] { return bareEvent(fileClass, filePath(next++), IOrvoIndication::IndicationCreation); },
            [&](const Indication& indication) { world->manager().notify(indication); });
        return Sample{whole / subscribers};
    }};
}

/// Handles to one event, pushed on locked queues.
struct Queues {
    std::deque<LockedQueue<std::string>> queues;
    Drainer drainer{[this] {
        for (auto& queue : queues) {
            queue.drain();
        }
    }};

    explicit Queues(std::uint32_t count) : queues(count) {}
};

std::vector<Measurement> limit(std::uint32_t subscribers) {
    pinThread(cores().first);
    const auto world = std::make_shared<Queues>(subscribers);
    return {[world, subscribers] {
        const double whole = meanTime(
            deliveries / subscribers, [] { return std::make_shared<std::string>("event"); },
            [&](const std::shared_ptr<std::string>& event) {
                for (auto& queue : world->queues) {
                    queue.push(event);
                }
            });
        return Sample{whole / subscribers};
    }};
}

/// How far two costs lie apart, whichever is higher.
Series distance(const Series& left, const Series& right) {
    const Series factors = ratio(left, right);
    Series result;
    for (const double factor : factors.values()) {
        result.add(std::max(factor, 1 / factor));
    }
    return result;
}

void measure(Session& session) {
    Worker oursFew([&] { return ours(session, few); });
    Worker limitFew([&] { return limit(few); });
    Worker oursMany([&] { return ours(session, many); });
    Worker limitMany([&] { return limit(many); });
    const auto sides = measureInTurn(session.rounds(), {session.side(oursFew), session.side(limitFew),
                                                        session.side(oursMany), session.side(limitMany)});
    const Target cost = Target::atMost(2, 1.3);
    session.add(timeRow({8, "fan-out, per subscriber of 10", oneCore}, sides[0].value, sides[1].value,
                        As::cost, cost));
    session.add(timeRow({8, "fan-out, per subscriber of 10,000", oneCore}, sides[2].value, sides[3].value,
                        As::cost, cost));
    Row apart = growthRow({8, "fan-out, 10,000 and 10 apart", oneCore}, sides[2].value, sides[0].value,
                          Target::atMost(1.3, 1.3));
    apart.ratio = distance(sides[2].value, sides[0].value);
    session.add(std::move(apart));
    session.add(Curve{
        8, "fan-out, per subscriber", {{few, sides[0].value.median()}, {many, sides[2].value.median()}}});
}

}  // namespace

void measureFanOut(Session& session) {
    session.attempt(8, "fan-out", [&] { measure(session); });
}

}  // namespace velm::bench
