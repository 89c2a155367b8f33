#include "benchmarks/world/InstanceWorld.h"

#include "benchmarks/harness/Memory.h"
#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/Timing.h"
#include "benchmarks/limits/Drainer.h"
#include "benchmarks/limits/IdealRouter.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <chrono>
#include <string>
#include <vector>

namespace velm::bench {

namespace {

/// Numbers of instances from here on are subscribed by nobody else.
constexpr std::uint32_t strangers = 2'000'000'000;
constexpr std::uint32_t ownSubscriptions = 100;

class InstanceWorld {
public:
    InstanceWorld(const Session& session, InstanceKind kind, std::uint32_t count)
        : _world(session.options().schema, session.folder(), cores().second),
          _kind(kind),
          _count(count),
          _events(session.sized<std::size_t>(100'000, 20'000)) {
        std::vector<SubscriberID> ids;
        for (std::uint32_t index = 0; index < std::min(count, InstanceWorlds::subscribers); ++index) {
            ids.push_back(_world.addDrained(index));
        }
        const Memory before = memoryNow();
        for (std::uint32_t index = 0; index < count; ++index) {
            _subscribe(ids[index % ids.size()], index);
        }
        _memory = memoryNow() - before;
    }

    Sample measure(InstanceWorlds::Measurement what) {
        switch (what) {
            case InstanceWorlds::match:
                return {_notify([this] { return _dice.below(_count); })};
            case InstanceWorlds::noMatch:
                return {_notify([this] { return strangers + _dice.below(1'000'000); })};
            case InstanceWorlds::removal:
                return {_remove()};
            case InstanceWorlds::bytesResident:
                break;
        }
        return {_memory.resident / _count, _memory.heap / _count};
    }

private:
    void _subscribe(const SubscriberID& id, std::uint32_t index) {
        const InstanceName instance = instanceName(fileClass, filePath(index));
        if (_kind == InstanceKind::change) {
            _world.subscribeToChanges(id, instance);
        } else {
            _world.subscribeToCreations(id, instance);
        }
    }

    template <class Choose>
    double _notify(Choose choose) {
        const auto type = _kind == InstanceKind::change ? IOrvoIndication::IndicationChange
                                                        : IOrvoIndication::IndicationCreation;
        return meanTime(
            _events, [&] { return bareEvent(fileClass, filePath(choose()), type); },
            [this](const Indication& indication) { _world.manager().notify(indication); });
    }

    double _remove() {
        return meanTime(
            50,
            [this] {
                const SubscriberID id = _world.addDrained(++_lastSubscriber);
                for (std::uint32_t own = 0; own < ownSubscriptions; ++own) {
                    _subscribe(id, strangers + (_lastSubscriber % 256) * ownSubscriptions + own);
                }
                return id;
            },
            [this](const SubscriberID& id) { _world.manager().removeSubscriber(*id, false, true); });
    }

    World _world;
    const InstanceKind _kind;
    const std::uint32_t _count;
    const std::size_t _events;
    std::uint32_t _lastSubscriber = InstanceWorlds::subscribers;
    Memory _memory;
    Dice _dice;
};

/// The class names that a report about a file is looked up under, as the manager does it.
const std::vector<std::string> lookedUp{fileClass,
                                        fileClass,
                                        "CIM_LogicalFile",
                                        "CIM_LogicalElement",
                                        "CIM_ManagedSystemElement",
                                        "CIM_ManagedElement",
                                        "*"};

std::string key(std::uint32_t index) {
    return std::string(nameSpace) + ":" + fileClass + ".Id=\"" + filePath(index) + "\"";
}

class IdealWorld {
public:
    IdealWorld(const Session& session, std::uint32_t count)
        : _router(InstanceWorlds::subscribers),
          _count(count),
          _events(session.sized<std::size_t>(100'000, 20'000)),
          _drainer([this] { _router.drain(); }) {
        for (std::uint32_t index = 0; index < count; ++index) {
            _router.add(key(index), index);
        }
    }

    template <class Choose>
    Sample notify(Choose choose) {
        return {meanTime(
            _events, [&] { return key(choose()); },
            [this](const std::string& event) { _router.route(event, lookedUp, &event); })};
    }

    Sample match() {
        return notify([this] { return _dice.below(_count); });
    }
    Sample noMatch() {
        return notify([this] { return strangers + _dice.below(1'000'000); });
    }

private:
    IdealRouter _router;
    const std::uint32_t _count;
    const std::size_t _events;
    Dice _dice;
    Drainer _drainer;
};

}  // namespace

const char* nameOf(InstanceKind kind) {
    return kind == InstanceKind::change ? "changes" : "class tree";
}

Worker& InstanceWorlds::get(InstanceKind kind, std::uint32_t count) {
    std::unique_ptr<Worker>& worker = _workers[{kind, count}];
    if (!worker) {
        worker = std::make_unique<Worker>([this, kind, count] {
            const auto world = std::make_shared<InstanceWorld>(_session, kind, count);
            std::vector<bench::Measurement> measurements;
            for (const Measurement what : {match, noMatch, removal, bytesResident}) {
                measurements.emplace_back([world, what] { return world->measure(what); });
            }
            return measurements;
        });
        worker->awaitReady(_session.deadline());
    }
    return *worker;
}

Worker& InstanceWorlds::ideal(std::uint32_t count) {
    std::unique_ptr<Worker>& worker = _ideals[count];
    if (!worker) {
        worker = std::make_unique<Worker>([this, count] {
            pinThread(cores().first);
            const auto world = std::make_shared<IdealWorld>(_session, count);
            return std::vector<bench::Measurement>{[world] { return world->match(); },
                                                   [world] { return world->noMatch(); }};
        });
        worker->awaitReady(_session.deadline());
    }
    return *worker;
}

}  // namespace velm::bench
