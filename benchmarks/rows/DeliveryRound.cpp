#include "benchmarks/rows/DeliveryRound.h"

#include "benchmarks/harness/ProcessTime.h"
#include "benchmarks/world/Events.h"

#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fmt/format.h>

namespace velm::bench {

namespace {

using namespace std::chrono_literals;

/// Queues the events between two passes, so that one pass sends them all. Answers whether that came true.
bool reportBetweenPasses(World& world, const std::vector<Indication>& events) {
    const ORVSmrPtr<CIndicationNotifier> notifier = world.manager().getIndicationNotifier();
    world.awaitPass();
    const auto before = notifier->getProgress().passesBegun;
    for (const Indication& event : events) {
        world.manager().notify(event);
    }
    return notifier->getProgress().passesBegun == before;
}

void awaitEnd(const Tally& tally, std::uint32_t count) {
    constexpr auto patience = 30s;
    auto lastMove = Clock::now();
    for (std::uint64_t last = 0; last < count && Clock::now() - lastMove < patience;) {
        std::this_thread::sleep_for(5ms);
        if (tally.messages > last) {
            last = tally.messages;
            lastMove = Clock::now();
        }
    }
}

}  // namespace

void requireAll(const Tally& tally, std::uint32_t count) {
    if (tally.messages != count || tally.outOfOrder != 0) {
        throw std::runtime_error(fmt::format("{} of {} messages arrived, {} out of order",
                                             tally.messages.load(), count, tally.outOfOrder.load()));
    }
}

Sample measureDelivery(World& world, Tally& tally, std::uint32_t count) {
    constexpr int attempts = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::vector<Indication> events;
        for (std::uint32_t index = 0; index < count; ++index) {
            events.push_back(fullEvent(index));
        }
        tally.reset();
        const bool isOnePass = reportBetweenPasses(world, events);
        events.clear();
        const double before = processTime();
        awaitEnd(tally, count);
        world.awaitPass();
        const double spent = processTime() - before;
        requireAll(tally, count);
        if (isOnePass) {
            return {tally.rate(), spent / count * 1e9};
        }
    }
    throw std::runtime_error("the machine is too slow: a pass began while events were being queued");
}

}  // namespace velm::bench
