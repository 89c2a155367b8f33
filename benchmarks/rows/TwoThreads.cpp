#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <barrier>
#include <memory>
#include <thread>
#include <vector>

#include <fmt/format.h>

// 7: two threads that report for different subscribers, against one.

namespace velm::bench {

namespace {

constexpr std::uint32_t subscribersEach = 100;
constexpr std::uint32_t instancesEach = 5000;

class ReportingThreads {
public:
    ReportingThreads(const Session& session, IOrvoIndication::IndicationType type)
        : _world(session.options().schema, session.folder(), cores().second),
          _type(type),
          _events(session.sized<std::size_t>(100'000, 40'000)) {
        std::vector<SubscriberID> ids;
        for (std::uint32_t index = 0; index < 2 * subscribersEach; ++index) {
            ids.push_back(_world.addDrained(index));
        }
        // The first half of the instances belongs to the first half of the subscribers.
        for (std::uint32_t index = 0; index < 2 * instancesEach; ++index) {
            const auto& id = ids[index / instancesEach * subscribersEach + index % subscribersEach];
            const InstanceName instance = instanceName(fileClass, filePath(index));
            type == IOrvoIndication::IndicationChange ? _world.subscribeToChanges(id, instance)
                                                      : _world.subscribeToCreations(id, instance);
        }
    }

    /// Reports per second of `count` threads. All events are made before; the delivery thread sleeps
    /// meanwhile.
    Sample run(int count) {
        std::vector<std::vector<Indication>> events;
        for (int thread = 0; thread < count; ++thread) {
            events.push_back(_makeEvents(static_cast<std::uint32_t>(thread)));
        }
        _world.awaitPass();
        std::vector<double> seconds(static_cast<std::size_t>(count));
        {
            std::barrier start(count);
            std::vector<std::jthread> threads;
            for (std::size_t thread = 0; thread < events.size(); ++thread) {
                threads.emplace_back([&, thread] {
                    pinThread(thread == 0 ? cores().first : cores().second);
                    start.arrive_and_wait();
                    seconds[thread] = _report(events[thread]);
                });
            }
        }
        const double slowest = *std::max_element(seconds.begin(), seconds.end());
        return {static_cast<double>(_events) * count / slowest};
    }

private:
    std::vector<Indication> _makeEvents(std::uint32_t thread) {
        std::vector<Indication> events;
        events.reserve(_events);
        while (events.size() < _events) {
            const std::uint32_t index = thread * instancesEach + _dice.below(instancesEach);
            events.push_back(bareEvent(fileClass, filePath(index), _type));
        }
        return events;
    }

    double _report(const std::vector<Indication>& events) {
        const auto start = Clock::now();
        for (const Indication& event : events) {
            _world.manager().notify(event);
        }
        return nanoseconds(Clock::now() - start) / 1e9;
    }

    World _world;
    const IOrvoIndication::IndicationType _type;
    const std::size_t _events;
    Dice _dice;
};

void measureKind(Session& session, InstanceKind kind) {
    const auto type = kind == InstanceKind::change ? IOrvoIndication::IndicationChange
                                                   : IOrvoIndication::IndicationCreation;
    Worker worker([&] {
        const auto threads = std::make_shared<ReportingThreads>(session, type);
        return std::vector<Measurement>{[threads] { return threads->run(1); },
                                        [threads] { return threads->run(2); }};
    });
    const auto sides = measureInTurn(session.rounds(), {session.side(worker, 0), session.side(worker, 1)});
    session.add(Row{.number = 7,
                    .what = fmt::format("two notifying threads against one ({})", nameOf(kind)),
                    .placement = "both cores",
                    .ours = formatRate(sides[1].value.median()),
                    .limit = formatRate(sides[0].value.median()),
                    .ratio = ratio(sides[1].value, sides[0].value),
                    .target = Target::atLeast(1.8, 1.95)});
}

}  // namespace

void measureTwoThreads(Session& session) {
    for (const InstanceKind kind : {InstanceKind::change, InstanceKind::tree}) {
        session.attempt(7, "two notifying threads", [&] {
            if (cores().first == cores().second) {
                throw std::runtime_error("needs two cores");
            }
            measureKind(session, kind);
        });
    }
}

}  // namespace velm::bench
