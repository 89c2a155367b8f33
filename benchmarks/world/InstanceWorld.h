#pragma once

#include "benchmarks/harness/Session.h"
#include "benchmarks/harness/Worker.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

/// Systems with many subscriptions to single instances, each in a worker that several rows share.
namespace velm::bench {

/// The two tables in which a subscription to one instance may stand: the manager's, for changes, and that of
/// the class in the class tree, for everything else.
enum class InstanceKind { change, tree };

const char* nameOf(InstanceKind kind);

class InstanceWorlds {
public:
    /// What a worker measures.
    enum Measurement : std::size_t {
        match,          ///< Nanoseconds of a notify() about a random instance that is subscribed.
        noMatch,        ///< The same about one that nobody has subscribed.
        removal,        ///< Nanoseconds of the removal of a subscriber with 100 subscriptions of its own.
        bytesResident,  ///< Bytes that each subscription added to the process; `second`: to the heap.
    };

    static constexpr std::uint32_t subscribers = 1000;

    explicit InstanceWorlds(Session& session) : _session(session) {}

    /// The system with `count` subscriptions by 1,000 subscribers, started when it is first asked for.
    Worker& get(InstanceKind kind, std::uint32_t count);

    /// The ideal router with as many keys; measures `match` and `noMatch`.
    Worker& ideal(std::uint32_t count);

    /// A million, or fewer in a quick run.
    std::uint32_t large() const { return _session.sized<std::uint32_t>(1'000'000, 200'000); }

private:
    Session& _session;
    std::map<std::pair<InstanceKind, std::uint32_t>, std::unique_ptr<Worker>> _workers;
    std::map<std::uint32_t, std::unique_ptr<Worker>> _ideals;
};

}  // namespace velm::bench
