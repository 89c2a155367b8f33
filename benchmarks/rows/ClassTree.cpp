#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/limits/Drainer.h"
#include "benchmarks/limits/IdealRouter.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

// 6: a creation of the deepest class of the schema, subscribed class-wide at its root.

namespace velm::bench {

namespace {

constexpr std::size_t events = 50'000;

std::vector<Measurement> ours(const Session& session) {
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().second);
    const std::vector<ORVString> lineage = world->deepestLineage();
    world->subscribeToCreations(world->addDrained(1), lineage.back());
    return {[world, leaf = lineage.front()] {
        std::uint32_t next = 0;
        return Sample{meanTime(
            events, [&] { return bareEvent(leaf, filePath(next++), IOrvoIndication::IndicationCreation); },
            [&](const Indication& indication) { world->manager().notify(indication); })};
    }};
}

/// The tree of the same depth, among as many other classes, with a drained queue at the root.
struct IdealTreeWorld {
    IdealTree tree;
    Drainer drainer{[this] { tree.drain(); }};

    explicit IdealTreeWorld(const std::vector<std::string>& lineage) : tree(lineage) {
        for (int other = 0; other < 1600; ++other) {
            tree.addStranger(fmt::format("CIM_SomeOtherClass{}", other));
        }
    }
};

std::vector<Measurement> limit(const Session& session) {
    std::vector<std::string> lineage;
    {
        const World world(session.options().schema, session.folder(), cores().second);
        for (const ORVString& name : world.deepestLineage()) {
            lineage.emplace_back(name.view());
        }
    }
    pinThread(cores().first);
    const auto world = std::make_shared<IdealTreeWorld>(lineage);
    return {[world, leaf = lineage.front()] {
        return Sample{meanTime(
            events, [&] { return leaf; },
            [&](const std::string& event) { world->tree.route(event, &event); })};
    }};
}

}  // namespace

void measureClassTree(Session& session) {
    session.attempt(6, "class tree", [&] {
        Worker oursWorker([&] { return ours(session); });
        Worker limitWorker([&] { return limit(session); });
        const auto sides =
            measureInTurn(session.rounds(), {session.side(oursWorker), session.side(limitWorker)});
        session.add(timeRow({6, "class tree, depth 10, one match at the root", oneCore}, sides[0].value,
                            sides[1].value, As::speed, Target::atLeast(0.3, 0.6)));
    });
}

}  // namespace velm::bench
