#include "benchmarks/rows/DeliveryRound.h"

#include "benchmarks/harness/ProcessTime.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/world/Events.h"

#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fmt/format.h>

namespace velm::bench {

namespace {

using namespace std::chrono_literals;

bool isBetweenPasses(const CIndicationNotifier::Progress& progress) {
    return progress.passesBegun == progress.passesEnded;
}

/// Processor time of this process without the thread that measures, which only waits. The delivery thread
/// stands in for the sender, with all threads of the library beside it.
double librarysTime() {
    return processTime() - std::chrono::duration<double>(threadTime()).count();
}

void awaitEndOfPass(const CIndicationNotifier& notifier) {
    while (!isBetweenPasses(notifier.getProgress())) {
        std::this_thread::sleep_for(1ms);
    }
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
    const ORVSmrPtr<CIndicationNotifier> notifier = world.manager().getIndicationNotifier();
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::vector<Indication> events;
        for (std::uint32_t index = 0; index < count; ++index) {
            events.push_back(fullEvent(index));
        }
        tally.reset();
        const auto start = notifier->getProgress();
        for (const Indication& event : events) {
            world.manager().notify(event);
        }
        events.clear();
        const double before = librarysTime();
        // One pass is to send them all.
        const bool isOnePass =
            isBetweenPasses(start) && notifier->getProgress().passesBegun == start.passesBegun;
        awaitEnd(tally, count);
        awaitEndOfPass(*notifier);
        const double spent = librarysTime() - before;
        requireAll(tally, count);
        if (isOnePass) {
            return {tally.rate(), spent / count * 1e9};
        }
        world.awaitPass();
    }
    throw std::runtime_error("the machine is too slow: a pass began while events were being queued");
}

}  // namespace velm::bench
