#include "benchmarks/harness/Placement.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <filesystem>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

// The library stands once in a process, so that each benchmark sets it up anew. Events are made beforehand
// and reported again and again: what they show is warmer than what the side-by-side runner shows.

namespace {

using namespace velm::bench;

constexpr std::size_t eventCount = 1024;

std::unique_ptr<World> newWorld() {
    return std::make_unique<World>(VELM_BENCH_SCHEMA, std::filesystem::temp_directory_path(), cores().second);
}

template <class Make>
std::vector<Indication> makeEvents(Make make) {
    std::vector<Indication> events;
    for (std::uint32_t index = 0; index < eventCount; ++index) {
        events.push_back(make(index));
    }
    return events;
}

void report(benchmark::State& state, World& world, const std::vector<Indication>& events) {
    std::size_t next = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(world.manager().notify(events[next++ % eventCount]));
    }
}

void notifyChange(benchmark::State& state) {
    const auto world = newWorld();
    const auto count = static_cast<std::uint32_t>(state.range(0));
    const SubscriberID id = world->addDrained(1);
    for (std::uint32_t index = 0; index < count; ++index) {
        world->subscribeToChanges(id, instanceName(fileClass, filePath(index)));
    }
    Dice dice;
    report(state, *world, makeEvents([&](std::uint32_t) {
               const std::uint32_t index = dice.below(count) + (state.range(1) != 0 ? 0 : count);
               return bareEvent(fileClass, filePath(index), IOrvoIndication::IndicationChange);
           }));
}
BENCHMARK(notifyChange)->ArgNames({"subscriptions", "matches"})->ArgsProduct({{1000, 100'000}, {0, 1}});

void notifyCreation(benchmark::State& state) {
    const auto world = newWorld();
    const auto count = static_cast<std::uint32_t>(state.range(0));
    const SubscriberID id = world->addDrained(1);
    for (std::uint32_t index = 0; index < count; ++index) {
        world->subscribeToCreations(id, instanceName(fileClass, filePath(index)));
    }
    Dice dice;
    report(state, *world, makeEvents([&](std::uint32_t) {
               const std::uint32_t index = dice.below(count) + (state.range(1) != 0 ? 0 : count);
               return bareEvent(fileClass, filePath(index), IOrvoIndication::IndicationCreation);
           }));
}
BENCHMARK(notifyCreation)->ArgNames({"subscriptions", "matches"})->ArgsProduct({{1000, 100'000}, {0, 1}});

void notifyUpTheTree(benchmark::State& state) {
    const auto world = newWorld();
    const std::vector<ORVString> lineage = world->deepestLineage();
    world->subscribeToCreations(world->addDrained(1), lineage.back());
    report(state, *world, makeEvents([&](std::uint32_t index) {
               return bareEvent(lineage.front(), filePath(index), IOrvoIndication::IndicationCreation);
           }));
}
BENCHMARK(notifyUpTheTree);

void fanOut(benchmark::State& state) {
    const auto world = newWorld();
    for (std::uint32_t index = 0; index < static_cast<std::uint32_t>(state.range(0)); ++index) {
        world->subscribeToCreations(world->addDrained(index), fileClass);
    }
    report(state, *world, makeEvents([](std::uint32_t index) {
               return bareEvent(fileClass, filePath(index), IOrvoIndication::IndicationCreation);
           }));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(fanOut)->ArgName("subscribers")->Arg(1)->Arg(10)->Arg(1000);

void notifyAssociation(benchmark::State& state) {
    const auto world = newWorld();
    const SubscriberID id = world->addDrained(1);
    for (std::uint32_t index = 0; index < static_cast<std::uint32_t>(state.range(0)); ++index) {
        world->subscribeToAssociation(id, "CIM_DirectoryContainsFile",
                                      instanceName("CIM_Directory", "/var/data"),
                                      instanceName(fileClass, filePath(index)));
    }
    report(state, *world,
           makeEvents([](std::uint32_t) { return associationEvent("/var/data", filePath(0)); }));
}
BENCHMARK(notifyAssociation)->ArgName("filters")->Arg(1)->Arg(100)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
