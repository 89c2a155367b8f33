#pragma once

#include "foundation/Export.h"
#include "foundation/subscribers/DeliveryOutcome.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace velm {

/// What became of the indications for one subscriber, for whoever wants to know why it hears nothing.
///
/// Threads: any may read at any time. Each counter is written by one thread at a time: those of deliveries by
/// the delivery thread, subscriptions under the manager's write lock. Ownership: shared by the subscriber and
/// the manager's list of removed ones, so that it can be read when the subscriber is gone. Failure: without
/// memory for a text the number is noted all the same; figures() throws std::bad_alloc.
class VELM_EXPORT SubscriberRecord {
public:
    using Time = std::chrono::system_clock::time_point;

    /// Something that went wrong, again and again for `count` times.
    struct Note {
        std::string text;
        Time since;
        Time last;
        std::uint64_t count = 0;
    };

    /// Longer texts are cut: listeners write some of them.
    static constexpr std::size_t longestText = 300;

    struct Figures {
        Time since;
        std::uint64_t subscriptions = 0;
        std::uint64_t delivered = 0;
        /// Of those delivered.
        std::uint64_t improperAnswers = 0;
        std::uint64_t failed = 0;
        /// Because an earlier one failed. Those that a full queue drops the subscriber counts itself.
        std::uint64_t droppedBehind = 0;
        std::optional<Time> lastDelivery;
        std::optional<Time> lastHeartbeat;
        /// The count is that of failures in a row.
        std::optional<Note> lastFailure;
        /// Nothing was delivered since.
        bool isFailing = false;
        std::optional<Note> lastImproperAnswer;
        /// The count is that of indications.
        std::optional<Note> lastDrop;
    };

    explicit SubscriberRecord(Time now) : _since(now) {}
    SubscriberRecord(const SubscriberRecord&) = delete;
    SubscriberRecord& operator=(const SubscriberRecord&) = delete;

    /// An indication was delivered and answered well, or not answered, as on a channel.
    void noteDelivery(Time now) noexcept;
    /// An indication was delivered, and `text` tells what was wrong with the answer.
    void noteImproperAnswer(std::string_view text, Time now) noexcept;
    void noteFailure(std::string_view text, Time now) noexcept;
    /// `count` indications were dropped between `since` and `now`. Counts those behind a failure.
    void noteDropped(DropRule rule, std::uint64_t count, Time since, Time now) noexcept;
    /// The queue is full, and dropping has begun.
    void noteQueueFull(Time now) noexcept;
    void noteHeartbeat(Time now) noexcept;
    /// Subscriptions that were made, less those that were taken back.
    void noteSubscribed() noexcept;
    void noteUnsubscribed() noexcept;
    std::uint64_t subscriptions() const noexcept { return _subscriptions.load(std::memory_order_relaxed); }

    /// Indications that the delivery thread took from the queue after the subscriber was removed.
    void noteTakenLate(std::uint64_t count) noexcept;
    std::uint64_t takenLate() const noexcept { return _takenLate.load(std::memory_order_relaxed); }

    /// When the drop that was noted last began.
    Time lastDropSince() const;

    Figures figures() const;

private:
    void _noteDrop(std::string_view text, std::uint64_t count, Time since, Time now);

    using Counter = std::atomic<std::uint64_t>;
    /// Nanoseconds since the epoch; 0 for never.
    using Moment = std::atomic<std::int64_t>;

    const Time _since;
    Counter _subscriptions{0};
    Counter _delivered{0};
    Counter _improperAnswers{0};
    Counter _failed{0};
    Counter _droppedBehind{0};
    Counter _takenLate{0};
    Moment _lastDelivery{0};
    Moment _lastHeartbeat{0};
    std::atomic<bool> _isFailing{false};
    std::atomic<bool> _answersImproperly{false};

    mutable std::mutex _lock;
    // Guarded by _lock.
    std::optional<Note> _lastFailure;
    std::optional<Note> _lastImproperAnswer;
    std::optional<Note> _lastDrop;
    Time _dropSince;
};

}  // namespace velm
