#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <algorithm>
#include <barrier>
#include <memory>
#include <span>
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
          _events(session.sized<std::size_t>(100'000, 20'000)),
          _repeats(session.sized(1, 3)) {
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

    /// Reports per second of two threads, and of one. All events are made before; the delivery thread sleeps
    /// meanwhile.
    Sample run() {
        const std::vector<std::vector<Indication>> toWarmUp{_makeEvents(0), _makeEvents(1)};
        std::vector<std::vector<Indication>> events;
        for (int repeat = 0; repeat < _repeats; ++repeat) {
            for (const std::uint32_t thread : {0u, 0u, 1u}) {
                events.push_back(_makeEvents(thread));
            }
        }
        _world.awaitPass();
        _report(toWarmUp);
        double alone = 0;
        double together = 0;
        for (std::span<const std::vector<Indication>> rest = events; !rest.empty(); rest = rest.subspan(3)) {
            alone += _report(rest.first(1));
            together += _report(rest.subspan(1, 2));
        }
        const double all = static_cast<double>(_events) * _repeats;
        return {2 * all / together, all / alone};
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

    /// Seconds of the slowest of one thread for each list of events.
    double _report(std::span<const std::vector<Indication>> events) {
        std::vector<double> seconds(events.size());
        {
            std::barrier start(static_cast<std::ptrdiff_t>(events.size()));
            std::vector<std::jthread> threads;
            for (std::size_t thread = 0; thread < events.size(); ++thread) {
                threads.emplace_back([&, thread] {
                    pinThread(thread == 0 ? cores().first : cores().second);
                    start.arrive_and_wait();
                    seconds[thread] = _reportAll(events[thread]);
                });
            }
        }
        return *std::max_element(seconds.begin(), seconds.end());
    }

    double _reportAll(const std::vector<Indication>& events) {
        const auto start = Clock::now();
        for (const Indication& event : events) {
            _world.manager().notify(event);
        }
        return nanoseconds(Clock::now() - start) / 1e9;
    }

    World _world;
    const IOrvoIndication::IndicationType _type;
    const std::size_t _events;
    const int _repeats;
    Dice _dice;
};

void measureKind(Session& session, InstanceKind kind) {
    const auto type = kind == InstanceKind::change ? IOrvoIndication::IndicationChange
                                                   : IOrvoIndication::IndicationCreation;
    Worker worker([&] {
        const auto threads = std::make_shared<ReportingThreads>(session, type);
        return std::vector<Measurement>{[threads] { return threads->run(); }};
    });
    const Side measured = measureInTurn(session.rounds(), {session.side(worker)}).front();
    session.add(Row{.number = 7,
                    .what = fmt::format("two notifying threads against one ({})", nameOf(kind)),
                    .placement = "both cores",
                    .ours = formatRate(measured.value.median()),
                    .limit = formatRate(measured.second.median()),
                    .ratio = ratio(measured.value, measured.second),
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
