#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "foundation/subscribers/CSubscriberNetworkConnection.h"
#include "foundation/subscribers/IndicationQueue.h"
#include "foundation/subscribers/SubscriberRecord.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace velm {

/// A base of objects that begin on a cache line of their own.
struct alignas(64) OwnCacheLine {};

}  // namespace velm

/// A subscriber: its identity, how it reaches the server, its persistent channel if it has one, and the queue
/// of indications that wait for delivery.
///
/// Threads: every operation may be called on any thread at any time. Subscribers stand on cache lines of
/// their own: threads that queue at different ones do not disturb each other.
///
/// The queue is bounded by "VELM"/"MaxQueuedIndications" (default 100000, 0 for no bound): past it the oldest
/// indication is dropped and counted, and the first drop of each burst is logged. A burst ends when the queue
/// is handed over; the number dropped in it is logged then.
class VELM_EXPORT CSubscriber : private velm::OwnCacheLine {
public:
    using Clock = std::chrono::steady_clock::time_point (*)();
    using IndicationList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoIndication>>>;

    /// `localHostName` and `localPortNumber` are the server's address as the subscriber knows it.
    /// `connection` is a null handle for a subscriber that listens on a port of its own. `clock` tells the
    /// time for the expiry.
    CSubscriber(ORVSmrPtr<CSubscriberID> subscriberID, const ORVString& localHostName,
                const ORVString& localPortNumber, ORVSmrPtr<CSubscriberNetworkConnection> connection,
                Clock clock = &std::chrono::steady_clock::now);
    CSubscriber(const CSubscriber&) = delete;
    CSubscriber& operator=(const CSubscriber&) = delete;
    virtual ~CSubscriber();

    ORVSmrPtr<CSubscriberID> getSubscriberID() const { return _subscriberID; }
    /// The identity in place, as long as the subscriber lives; null when it was given none.
    const CSubscriberID* identity() const noexcept { return _identity; }
    ORVString getLocalHostName() const { return _localHostName; }
    ORVString getLocalPortNumber() const { return _localPortNumber; }
    ORVSmrPtr<CSubscriberNetworkConnection> getNetworkConnection() const { return _connection; }

    /// Queues `indication` for delivery.
    virtual void notify(ORVSmrPtr<IOrvoIndication> indication);

    /// Hands over what is queued, oldest first, and empties the queue. A null handle when nothing is queued.
    /// Failure: std::bad_alloc, and everything stays queued.
    virtual IndicationList getIndications();

    /// Takes note of a sign of life.
    virtual void updateTimeStamp();

    /// Whether the subscriber has expired: it has a persistent channel or has sent a heartbeat, and none came
    /// for "VELM"/"SubscriberTimeout" seconds (default 900; 0 never). Or whether its persistent channel is
    /// closed: nothing can reach it any more, whatever the time-out.
    virtual bool isOutOfDate() const;

    /// Indications in the queue now.
    std::size_t getWaitingCount();
    /// Indications queued since the subscriber exists, dropped ones included.
    std::uint64_t getQueuedCount() const noexcept { return _queuedCount.load(std::memory_order_relaxed); }
    /// Indications dropped because the queue was full.
    std::uint64_t getDroppedCount() const noexcept { return _droppedCount.load(std::memory_order_relaxed); }

    /// What became of the indications for this subscriber. Kept for as long as somebody shares it.
    const std::shared_ptr<velm::SubscriberRecord>& record() const noexcept { return _record; }

    /// The subscriber is removed: answers how many indications wait, which go with it unless somebody still
    /// takes them. Those are noted in the record then.
    std::size_t abandonQueue() noexcept;

private:
    /// Empties the queue into `taken`, with the number dropped before, unless it holds more than `most`.
    bool _takeUpTo(std::size_t most, velm::IndicationQueue& taken, std::uint64_t& dropped) noexcept;
    void _tellDropping() const noexcept;
    void _tellEndOfBurst(std::uint64_t dropped) const noexcept;

    // All that notify() touches, on the line on which the object begins.
    /// Held for no longer than it takes to add an indication or to take the queue over.
    mutable std::atomic_flag _queueLock;
    /// Whether the queue is worth a look: an idle subscriber is asked every second.
    std::atomic<bool> _hasQueued{false};
    const unsigned int _maxQueued;
    std::atomic<std::uint64_t> _queuedCount{0};
    velm::IndicationQueue _queue;

    std::atomic<std::uint64_t> _droppedCount{0};
    std::uint64_t _droppedInBurst = 0;
    bool _isAbandoned = false;

    const ORVSmrPtr<CSubscriberID> _subscriberID;
    /// What the handle holds.
    const CSubscriberID* const _identity;
    const ORVString _localHostName;
    const ORVString _localPortNumber;
    const ORVSmrPtr<CSubscriberNetworkConnection> _connection;
    const Clock _clock;
    const std::chrono::seconds _timeout;

    const std::shared_ptr<velm::SubscriberRecord> _record;

    std::atomic<bool> _canExpire;
    std::atomic<std::chrono::steady_clock::rep> _lastSign;
};
