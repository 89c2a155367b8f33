#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/ProcessTime.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <chrono>
#include <memory>
#include <thread>

#include <fmt/format.h>

// 16: many subscribers and nothing to do.

namespace velm::bench {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t subscribers = 10'000;

/// Percent of one core.
std::vector<Measurement> ours(const Session& session) {
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().first);
    for (std::uint32_t index = 0; index < subscribers; ++index) {
        world->subscribeToCreations(subscriberID(index), fileClass);
    }
    return {[world] {
        world->awaitPass();
        const auto start = Clock::now();
        const double before = processTime();
        // Two passes of the delivery thread fall into it.
        std::this_thread::sleep_for(2s);
        const double spent = processTime() - before;
        return Sample{spent / std::chrono::duration<double>(Clock::now() - start).count() * 100};
    }};
}

}  // namespace

void measureIdle(Session& session) {
    session.attempt(16, "idle", [&] {
        Worker worker([&] { return ours(session); });
        const auto sides = measureInTurn(session.sized(5, 3), {session.side(worker)});
        session.add(Row{.number = 16,
                        .what = "idle, 10,000 subscribers, of one core",
                        .placement = oneCore,
                        .ours = fmt::format("{:.3f} %", sides[0].value.median()),
                        .limit = "",
                        .ratio = sides[0].value,
                        .target = Target::atMost(0.5, 0.1, " %")});
    });
}

}  // namespace velm::bench
