#include "foundation/subscribers/SubscriberRecord.h"

#include <new>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

using Time = SubscriberRecord::Time;
using Note = SubscriberRecord::Note;

/// Each counter has one writer at a time.
void add(std::atomic<std::uint64_t>& counter, std::uint64_t count) noexcept {
    counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

void set(std::atomic<std::int64_t>& moment, Time now) noexcept {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch());
    moment.store(sinceEpoch.count(), std::memory_order_relaxed);
}

std::optional<Time> momentOf(const std::atomic<std::int64_t>& moment) {
    const std::chrono::nanoseconds sinceEpoch(moment.load(std::memory_order_relaxed));
    if (sinceEpoch.count() == 0) {
        return std::nullopt;
    }
    return Time(std::chrono::duration_cast<Time::duration>(sinceEpoch));
}

/// Not in the middle of a character.
std::string_view cut(std::string_view text) {
    std::size_t length = SubscriberRecord::longestText;
    if (text.size() <= length) {
        return text;
    }
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    return text.substr(0, length);
}

/// A text that cannot be kept changes nothing for whoever delivers.
template <class Action>
void keep(Action action) noexcept {
    try {
        action();
    } catch (const std::bad_alloc&) {
    }
}

/// One more in a row, or the first of a new one.
void repeat(std::optional<Note>& note, std::string_view text, Time now, bool goesOn) {
    if (!note || !goesOn) {
        note = Note{std::string(cut(text)), now, now, 1};
        return;
    }
    if (note->text != cut(text)) {
        note->text = cut(text);
    }
    note->last = now;
    ++note->count;
}

}  // namespace

void SubscriberRecord::noteDelivery(Time now) noexcept {
    add(_delivered, 1);
    set(_lastDelivery, now);
    if (_isFailing.load(std::memory_order_relaxed)) {
        _isFailing.store(false, std::memory_order_relaxed);
    }
    if (_answersImproperly.load(std::memory_order_relaxed)) {
        _answersImproperly.store(false, std::memory_order_relaxed);
    }
}

void SubscriberRecord::noteImproperAnswer(std::string_view text, Time now) noexcept {
    const bool goesOn = _answersImproperly.load(std::memory_order_relaxed);
    noteDelivery(now);
    add(_improperAnswers, 1);
    _answersImproperly.store(true, std::memory_order_relaxed);
    keep([&] {
        const std::lock_guard guard(_lock);
        repeat(_lastImproperAnswer, text, now, goesOn);
    });
}

void SubscriberRecord::noteFailure(std::string_view text, Time now) noexcept {
    add(_failed, 1);
    const bool goesOn = _isFailing.exchange(true, std::memory_order_relaxed);
    keep([&] {
        const std::lock_guard guard(_lock);
        repeat(_lastFailure, text, now, goesOn);
    });
}

void SubscriberRecord::noteDropped(DropRule rule, std::uint64_t count, Time since, Time now) noexcept {
    static constexpr std::array<const char*, 3> reasons{"the queue was full", "an earlier one failed",
                                                        "the subscriber was removed"};
    if (rule == DropRule::earlierOneFailed) {
        add(_droppedBehind, count);
    }
    keep([&] {
        _noteDrop(fmt::format("{} dropped because {}", count, reasons[numberOf(rule)]), count, since, now);
    });
}

void SubscriberRecord::noteQueueFull(Time now) noexcept {
    keep([&] { _noteDrop("the queue is full, the oldest are dropped", 1, now, now); });
}

void SubscriberRecord::_noteDrop(std::string_view text, std::uint64_t count, Time since, Time now) {
    Note note{std::string(text), since, now, count};
    const std::lock_guard guard(_lock);
    _lastDrop = std::move(note);
    _dropSince = since;
}

void SubscriberRecord::noteHeartbeat(Time now) noexcept {
    set(_lastHeartbeat, now);
}

void SubscriberRecord::noteSubscribed() noexcept {
    add(_subscriptions, 1);
}

void SubscriberRecord::noteUnsubscribed() noexcept {
    if (_subscriptions.load(std::memory_order_relaxed) != 0) {
        _subscriptions.fetch_sub(1, std::memory_order_relaxed);
    }
}

void SubscriberRecord::noteTakenLate(std::uint64_t count) noexcept {
    add(_takenLate, count);
}

Time SubscriberRecord::lastDropSince() const {
    const std::lock_guard guard(_lock);
    return _dropSince;
}

SubscriberRecord::Figures SubscriberRecord::figures() const {
    Figures figures;
    figures.since = _since;
    figures.subscriptions = _subscriptions.load(std::memory_order_relaxed);
    figures.delivered = _delivered.load(std::memory_order_relaxed);
    figures.improperAnswers = _improperAnswers.load(std::memory_order_relaxed);
    figures.failed = _failed.load(std::memory_order_relaxed);
    figures.droppedBehind = _droppedBehind.load(std::memory_order_relaxed);
    figures.lastDelivery = momentOf(_lastDelivery);
    figures.lastHeartbeat = momentOf(_lastHeartbeat);
    figures.isFailing = _isFailing.load(std::memory_order_relaxed);
    const std::lock_guard guard(_lock);
    figures.lastFailure = _lastFailure;
    figures.lastImproperAnswer = _lastImproperAnswer;
    figures.lastDrop = _lastDrop;
    return figures;
}

}  // namespace velm
