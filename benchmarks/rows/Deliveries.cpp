#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/ProcessTime.h"
#include "benchmarks/limits/RawSender.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/DeliveryRound.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <memory>

#include <fmt/format.h>

// 1 and 2: deliveries on fresh connections through the real notifier, and the processor time that each takes
// the sender.

namespace velm::bench {

namespace {

std::vector<Measurement> ours(const Session& session, const Listeners& listeners, std::uint32_t count) {
    // The delivery thread stands in for the whole sender: it runs where the raw loop does.
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().first);
    const SubscriberID id(new CSubscriberID("127.0.0.1", ORVString(std::to_string(listeners.port())), 1));
    world->subscribeToCreations(id, fileClass);
    return {[world, &listeners, count] { return measureDelivery(*world, listeners.tally(), count); }};
}

std::vector<Measurement> limit(const Listeners& listeners, std::uint32_t count) {
    pinThread(cores().first);
    const auto sender = std::make_shared<RawSender>(listeners.port());
    return {[sender, &listeners, count] {
        std::vector<FullEventText> events;
        for (std::uint32_t index = 0; index < count; ++index) {
            events.push_back(fullEventText(index));
        }
        Tally& tally = listeners.tally();
        tally.reset();
        const double before = processTime();
        for (const FullEventText& event : events) {
            sender->deliver(event);
        }
        const double spent = processTime() - before;
        requireAll(tally, count);
        return Sample{tally.rate(), spent / count * 1e9};
    }};
}

void measure(Session& session, int listenerCore, const char* placement) {
    const auto count = session.sized<std::uint32_t>(4000, 1000);
    const Listeners listeners(listenerCore, 1);
    Worker oursWorker([&] { return ours(session, listeners, count); });
    Worker limitWorker([&] { return limit(listeners, count); });
    const auto sides = measureInTurn(session.rounds(), {session.side(oursWorker), session.side(limitWorker)});
    if (session.wants(1)) {
        session.add(rateRow({1, "deliveries, a fresh connection each", placement}, sides[0].value,
                            sides[1].value, Target::atLeast(0.9, 0.95)));
    }
    if (session.wants(2)) {
        session.add(timeRow({2, "sender's processor time per delivery", placement}, sides[0].second,
                            sides[1].second, As::cost, Target::atMost(1.3, 1.15)));
    }
}

}  // namespace

void measureDeliveries(Session& session) {
    for (const auto& [core, placement] : placements()) {
        session.attempt(session.wants(1) ? 1 : 2, fmt::format("deliveries, {}", placement),
                        [&] { measure(session, core, placement); });
    }
}

}  // namespace velm::bench
