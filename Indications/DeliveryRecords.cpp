#include "Indications/DeliveryRecords.h"

#include <algorithm>
#include <functional>
#include <new>
#include <utility>

namespace velm {

namespace {

std::string textOf(const ORVString& text) {
    return std::string(text.view());
}

void setIdentity(SubscriberStatus& status, const CSubscriberID* id) {
    if (id) {
        status.host = textOf(id->getHostName());
        status.port = textOf(id->getPortNumber());
        status.session = id->getSessionID();
    }
}

/// Each has one writer.
template <class Number>
void add(std::atomic<Number>& counter, Number count) noexcept {
    counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

std::uint64_t valueOf(const std::atomic<std::uint64_t>& counter) noexcept {
    return counter.load(std::memory_order_relaxed);
}

template <std::size_t size>
std::array<std::uint64_t, size> valuesOf(const std::array<std::atomic<std::uint64_t>, size>& counters) {
    std::array<std::uint64_t, size> values;
    std::transform(counters.begin(), counters.end(), values.begin(), valueOf);
    return values;
}

/// Somebody may have set the clock meanwhile, and reporters may tell any time.
std::chrono::nanoseconds latencyOf(DeliveryRecords::Time reported, DeliveryRecords::Time now) noexcept {
    constexpr std::chrono::hours longest(24);
    if (reported >= now) {
        return std::chrono::nanoseconds::zero();
    }
    return reported < now - longest ? longest : now - reported;
}

}  // namespace

void DeliveryRecords::noteDelivery(SubscriberRecord& subscriber, Time reported, Time now,
                                   std::string_view improper) noexcept {
    if (improper.empty()) {
        subscriber.noteDelivery(now);
    } else {
        subscriber.noteImproperAnswer(improper, now);
        add<std::uint64_t>(_improperAnswers, 1);
    }
    add<std::uint64_t>(_delivered, 1);
    const std::chrono::nanoseconds latency = latencyOf(reported, now);
    const auto& bounds = DeliveryLatency::bounds;
    const auto bound = std::lower_bound(bounds.begin(), bounds.end(), latency);
    add<std::uint64_t>(_latencies[static_cast<std::size_t>(bound - bounds.begin())], 1);
    add<std::int64_t>(_latencySum, latency.count());
}

void DeliveryRecords::noteFailure(SubscriberRecord& subscriber, DeliveryFailure reason,
                                  std::string_view text) noexcept {
    subscriber.noteFailure(text, Time::clock::now());
    add<std::uint64_t>(_failed[numberOf(reason)], 1);
}

void DeliveryRecords::noteDroppedBehind(SubscriberRecord& subscriber, std::uint64_t count) noexcept {
    const Time now = Time::clock::now();
    subscriber.noteDropped(DropRule::earlierOneFailed, count, now, now);
    add(_droppedBehind, count);
}

void DeliveryRecords::noteRemoval(CSubscriber& subscriber, RemovalReason reason) noexcept {
    const std::uint64_t waiting = subscriber.abandonQueue();
    Removed removed{subscriber.getSubscriberID(),
                    !subscriber.getNetworkConnection().IsNull(),
                    reason,
                    Time::clock::now(),
                    subscriber.getQueuedCount(),
                    subscriber.getDroppedCount(),
                    waiting,
                    subscriber.record()};
    const std::lock_guard guard(_lock);
    _settle();
    ++_removals[numberOf(reason)];
    _queued += removed.queued;
    _droppedFull += removed.droppedFull;
    _keep(std::move(removed));
}

void DeliveryRecords::_keep(Removed&& removed) noexcept {
    try {
        if (removed.waiting != 0) {
            _abandoned.push_back({removed.record, removed.waiting, passesBegun()});
        }
    } catch (const std::bad_alloc&) {
        // What a pass may still take counts as dropped, then.
        _droppedWithQueue += removed.waiting;
    }
    try {
        _removed.push_back(std::move(removed));
        if (_removed.size() > removedKept) {
            _removed.pop_front();
        }
    } catch (const std::bad_alloc&) {
        // It is counted, and not listed.
    }
}

/// A pass that began after the removal does not know the subscriber.
void DeliveryRecords::_settle() noexcept {
    while (!_abandoned.empty() && _abandoned.front().passesBegun <= passesEnded()) {
        const Abandoned& gone = _abandoned.front();
        _droppedWithQueue += gone.waiting - std::min(gone.waiting, gone.record->takenLate());
        _abandoned.pop_front();
    }
}

IndicationCounters DeliveryRecords::counters() {
    IndicationCounters counters;
    counters.matched = _reports.matched();
    counters.reported = counters.matched + _reports.unmatched();
    counters.delivered = valueOf(_delivered);
    counters.improperAnswers = valueOf(_improperAnswers);
    counters.failed = valuesOf(_failed);
    counters.dropped[numberOf(DropRule::earlierOneFailed)] = valueOf(_droppedBehind);
    counters.providerCalls = valueOf(_providerCalls);
    counters.failedProviderCalls = valueOf(_failedProviderCalls);
    counters.latency.counts = valuesOf(_latencies);
    counters.latency.sum = std::chrono::nanoseconds(_latencySum.load(std::memory_order_relaxed));
    const std::lock_guard guard(_lock);
    _settle();
    counters.queued = _queued;
    counters.dropped[numberOf(DropRule::queueFull)] = _droppedFull;
    counters.dropped[numberOf(DropRule::subscriberRemoved)] = _droppedWithQueue;
    counters.removed = _removals;
    return counters;
}

std::vector<RemovedSubscriberStatus> DeliveryRecords::removed() const {
    std::deque<Removed> removed;
    {
        const std::lock_guard guard(_lock);
        removed = _removed;
    }
    std::vector<RemovedSubscriberStatus> described(removed.size());
    std::transform(removed.begin(), removed.end(), described.begin(), std::mem_fn(&Removed::describe));
    return described;
}

RemovedSubscriberStatus DeliveryRecords::Removed::describe() const {
    SubscriberStatus subscriber;
    setIdentity(subscriber, id.IsNull() ? nullptr : id.Get());
    subscriber.isChannel = isChannel;
    subscriber.queued = queued;
    subscriber.figures = record->figures();
    // The delivery thread may have taken the queue all the same.
    const std::uint64_t droppedWithQueue = waiting - std::min(waiting, record->takenLate());
    subscriber.dropped = droppedFull + subscriber.figures.droppedBehind + droppedWithQueue;
    if (droppedWithQueue > 0) {
        subscriber.figures.lastDrop = SubscriberRecord::Note{
            std::to_string(droppedWithQueue) + " dropped because the subscriber was removed", when, when,
            droppedWithQueue};
    }
    return {std::move(subscriber), when, reason};
}

SubscriberStatus describe(CSubscriber& subscriber) {
    SubscriberStatus status;
    setIdentity(status, subscriber.identity());
    status.isChannel = !subscriber.getNetworkConnection().IsNull();
    status.waiting = subscriber.getWaitingCount();
    status.queued = subscriber.getQueuedCount();
    status.figures = subscriber.record()->figures();
    status.dropped = subscriber.getDroppedCount() + status.figures.droppedBehind;
    return status;
}

}  // namespace velm
