#pragma once

#include "Indications/IndicationStatus.h"
#include "Indications/ReportCounts.h"
#include "foundation/subscribers/CSubscriber.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace velm {

/// What the manager and its delivery thread have done so far, for whoever watches them. Nothing that they do
/// depends on it.
///
/// Threads: reports and provider calls are counted by any thread; passes and what becomes of indications by
/// the delivery thread alone; removals under the manager's write lock. Any thread may read. Ownership: shared
/// by manager, notifier and delivery thread. Failure: the operations that take note of something throw
/// nothing; without memory a removal is counted and not listed.
class DeliveryRecords {
public:
    using Time = std::chrono::system_clock::time_point;

    /// As many removed subscribers are remembered.
    static constexpr std::size_t removedKept = 100;

    void countReport(bool isMatched) noexcept { _reports.add(isMatched); }
    void countProviderCall() noexcept { _providerCalls.fetch_add(1, std::memory_order_relaxed); }
    void countFailedProviderCall() noexcept { _failedProviderCalls.fetch_add(1, std::memory_order_relaxed); }

    // The passes of the delivery thread. One counts as begun before the first queue is taken.
    void beginPass() noexcept { ++_passesBegun; }
    void endPass() noexcept { ++_passesEnded; }
    std::uint64_t passesBegun() const noexcept { return _passesBegun; }
    std::uint64_t passesEnded() const noexcept { return _passesEnded; }

    // What the delivery thread did with one indication of the subscriber.

    /// `improper` says what was wrong with the answer; empty for a good one, and on a channel.
    void noteDelivery(SubscriberRecord& subscriber, Time reported, Time now,
                      std::string_view improper) noexcept;
    void noteFailure(SubscriberRecord& subscriber, DeliveryFailure reason, std::string_view text) noexcept;
    /// `count` were behind one that failed.
    void noteDroppedBehind(SubscriberRecord& subscriber, std::uint64_t count) noexcept;

    /// Requires: the manager's write lock, and the subscriber is in no table any more.
    void noteRemoval(CSubscriber& subscriber, RemovalReason reason) noexcept;

    /// All but what the present subscribers have queued and dropped. Requires: the manager's lock, so that no
    /// subscriber is counted twice.
    IndicationCounters counters();
    std::vector<RemovedSubscriberStatus> removed() const;

private:
    using Counter = std::atomic<std::uint64_t>;

    /// A removed subscriber, kept as it was found: removals wait for nothing that is needed to show them
    /// only.
    struct Removed {
        ORVSmrPtr<CSubscriberID> id;
        bool isChannel;
        RemovalReason reason;
        Time when;
        std::uint64_t queued;
        std::uint64_t droppedFull;
        std::uint64_t waiting;
        std::shared_ptr<SubscriberRecord> record;

        RemovedSubscriberStatus describe() const;
    };
    /// What a removed subscriber had queued, as long as a pass may still take it.
    struct Abandoned {
        std::shared_ptr<SubscriberRecord> record;
        std::uint64_t waiting;
        std::uint64_t passesBegun;
    };

    void _keep(Removed&& removed) noexcept;
    void _settle() noexcept;

    ReportCounts _reports;
    Counter _providerCalls{0};
    Counter _failedProviderCalls{0};

    // Written by the delivery thread alone.
    Counter _passesBegun{0};
    Counter _passesEnded{0};
    Counter _delivered{0};
    Counter _improperAnswers{0};
    std::array<Counter, deliveryFailureNames.size()> _failed{};
    Counter _droppedBehind{0};
    std::array<Counter, DeliveryLatency::bounds.size() + 1> _latencies{};
    std::atomic<std::int64_t> _latencySum{0};

    mutable std::mutex _lock;
    // Guarded by _lock: the sums of those that were removed.
    std::uint64_t _queued = 0;
    std::uint64_t _droppedFull = 0;
    std::uint64_t _droppedWithQueue = 0;
    std::array<std::uint64_t, removalReasonNames.size()> _removals{};
    std::deque<Abandoned> _abandoned;
    std::deque<Removed> _removed;
};

/// What the subscriber is and has queued, with what its record tells.
SubscriberStatus describe(CSubscriber& subscriber);

}  // namespace velm
