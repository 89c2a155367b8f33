#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <memory>

#include <fmt/format.h>

// 10: subscribing and unsubscribing among subscribers that are there already, each with a subscription of
// every kind.

namespace velm::bench {

namespace {

enum class Kind { instanceChanges, classChanges, creations };

const char* nameOf(Kind kind) {
    switch (kind) {
        case Kind::instanceChanges:
            return "changes of an instance";
        case Kind::classChanges:
            return "changes of a class";
        default:
            return "creations of a class";
    }
}

class SubscriberWorld {
public:
    SubscriberWorld(const Session& session, std::uint32_t count)
        : _world(session.options().schema, session.folder(), cores().second), _count(count) {
        for (std::uint32_t index = 0; index < count; ++index) {
            const SubscriberID id = _world.addDrained(index);
            for (const Kind kind : {Kind::instanceChanges, Kind::classChanges, Kind::creations}) {
                _subscribe(id, kind, index);
            }
        }
    }

    /// Nanoseconds for both, by a subscriber that has no such subscription yet.
    Sample subscribeAndBack(Kind kind) {
        return {meanTime(
            1000, [this] { return subscriberID(_dice.below(_count)); },
            [&](const SubscriberID& id) {
                if (kind != Kind::instanceChanges) {
                    // Each has one already: it goes, and comes back at the end.
                    _unsubscribe(id, kind, 0);
                    _subscribe(id, kind, 0);
                    return;
                }
                _subscribe(id, kind, _count + id->getSessionID());
                _unsubscribe(id, kind, _count + id->getSessionID());
            },
            std::chrono::milliseconds(200))};
    }

private:
    void _subscribe(const SubscriberID& id, Kind kind, std::uint32_t instance) {
        switch (kind) {
            case Kind::instanceChanges:
                return _world.subscribeToChanges(id, instanceName(fileClass, filePath(instance)));
            case Kind::classChanges:
                return _world.subscribeToChanges(id, instanceName(fileClass, filePath(0)), true);
            case Kind::creations:
                return _world.subscribeToCreations(id, fileClass);
        }
    }

    void _unsubscribe(const SubscriberID& id, Kind kind, std::uint32_t instance) {
        switch (kind) {
            case Kind::instanceChanges:
                return _world.unsubscribeFromChanges(id, instanceName(fileClass, filePath(instance)));
            case Kind::classChanges:
                return _world.unsubscribeFromChanges(id, instanceName(fileClass, filePath(0)), true);
            case Kind::creations:
                return _world.unsubscribeFromCreations(id, fileClass);
        }
    }

    World _world;
    const std::uint32_t _count;
    Dice _dice;
};

std::unique_ptr<Worker> worker(Session& session, std::uint32_t count) {
    return std::make_unique<Worker>([&session, count] {
        const auto world = std::make_shared<SubscriberWorld>(session, count);
        std::vector<Measurement> measurements;
        for (const Kind kind : {Kind::instanceChanges, Kind::classChanges, Kind::creations}) {
            measurements.emplace_back([world, kind] { return world->subscribeAndBack(kind); });
        }
        return measurements;
    });
}

}  // namespace

void measureSubscribing(Session& session) {
    session.attempt(10, "subscribe and unsubscribe", [&] {
        const auto few = worker(session, 100);
        const auto some = worker(session, 1000);
        const auto many = worker(session, 10'000);
        for (const Kind kind : {Kind::instanceChanges, Kind::classChanges, Kind::creations}) {
            const auto which = static_cast<std::size_t>(kind);
            const auto measured =
                measureSizes(session, 10, fmt::format("subscribe and back ({})", nameOf(kind)),
                             {{100, session.side(*few, which)},
                              {1000, session.side(*some, which)},
                              {10'000, session.side(*many, which)}});
            session.add(
                growthRow({10, fmt::format("subscribe+back, 100 -> 10,000 ({})", nameOf(kind)), oneCore},
                          measured.back().value, measured.front().value, Target::atMost(1.5, 1.1)));
        }
    });
}

}  // namespace velm::bench
