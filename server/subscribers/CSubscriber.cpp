#include "foundation/subscribers/CSubscriber.h"

#include "foundation/services/ORVLog.h"
#include "server/subscribers/Settings.h"
#include "server/utilities/SpinGuard.h"

#include <utility>

#include <fmt/format.h>

namespace {

constexpr unsigned int defaultTimeout = 900;
constexpr unsigned int defaultMaxQueued = 100000;
/// Indications that may be queued while room is made for those that are.
constexpr std::size_t usualSpare = 16;

using Indications = ORVValSlist<ORVSmrPtr<IOrvoIndication>>;

/// Memory is short when queues are full: the line may be lost then, but no indication behind it.
template <class Message>
void logDropping(const char* component, Message message) noexcept {
    try {
        ORVLog::log(component, std::string_view(message()), OrvoTraceLog::SeverityWarning,
                    OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    } catch (...) {
    }
}

velm::SubscriberRecord::Time now() {
    return velm::SubscriberRecord::Time::clock::now();
}

/// For counters that are written under a lock and read without.
void increment(std::atomic<std::uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void makeRoom(Indications& list, std::size_t count) {
    while (list.entries() < count) {
        list.append(ORVSmrPtr<IOrvoIndication>::none());
    }
}

/// Moves what is queued into `list`, which has room for it, and drops the room that is left.
void fill(Indications& list, velm::IndicationQueue& queued) noexcept {
    const std::size_t count = queued.size();
    while (list.entries() > count) {
        list.erase(list.last());
    }
    for (ORVSmrPtr<IOrvoIndication>& place : list) {
        place = queued.pop();
    }
}

}  // namespace

CSubscriber::CSubscriber(ORVSmrPtr<CSubscriberID> subscriberID, const ORVString& localHostName,
                         const ORVString& localPortNumber, ORVSmrPtr<CSubscriberNetworkConnection> connection,
                         Clock clock)
    : _maxQueued(velm::subscriberSetting("MaxQueuedIndications", defaultMaxQueued)),
      _subscriberID(subscriberID),
      _identity(_subscriberID.Get()),
      _localHostName(localHostName),
      _localPortNumber(localPortNumber),
      _connection(connection),
      _clock(clock),
      _timeout(velm::subscriberSetting("SubscriberTimeout", defaultTimeout)),
      _record(std::make_shared<velm::SubscriberRecord>(now())),
      _canExpire(!connection.IsNull()),
      _lastSign(clock().time_since_epoch().count()) {
}

CSubscriber::~CSubscriber() = default;

void CSubscriber::notify(ORVSmrPtr<IOrvoIndication> indication) {
    auto dropped = ORVSmrPtr<IOrvoIndication>::none();
    bool isFirstDrop = false;
    {
        const velm::SpinGuard lock(_queueLock);
        _queue.push(std::move(indication));
        _hasQueued.store(true, std::memory_order_relaxed);
        increment(_queuedCount);
        if (_maxQueued != 0 && _queue.size() > _maxQueued) {
            dropped = _queue.pop();
            increment(_droppedCount);
            isFirstDrop = ++_droppedInBurst == 1;
        }
    }
    if (isFirstDrop) {
        _tellDropping();
    }
}

CSubscriber::IndicationList CSubscriber::getIndications() {
    if (!_hasQueued.load(std::memory_order_relaxed)) {
        return IndicationList::none();
    }
    IndicationList indications(new Indications);
    velm::IndicationQueue taken;
    std::uint64_t dropped = 0;
    // Room comes first: once the queue is taken nothing may fail. More may be queued meanwhile.
    bool isTaken = false;
    for (std::size_t spare = 0; !isTaken; spare = usualSpare + getWaitingCount() / 4) {
        makeRoom(*indications, getWaitingCount() + spare);
        isTaken = _takeUpTo(indications->entries(), taken, dropped);
    }
    fill(*indications, taken);
    if (dropped != 0) {
        _tellEndOfBurst(dropped);
    }
    return indications->isEmpty() ? IndicationList::none() : indications;
}

bool CSubscriber::_takeUpTo(std::size_t most, velm::IndicationQueue& taken, std::uint64_t& dropped) noexcept {
    const velm::SpinGuard lock(_queueLock);
    if (_queue.size() > most) {
        return false;
    }
    if (_isAbandoned) {
        _record->noteTakenLate(_queue.size());
    }
    taken.swap(_queue);
    dropped = std::exchange(_droppedInBurst, 0);
    _hasQueued.store(false, std::memory_order_relaxed);
    return true;
}

std::size_t CSubscriber::abandonQueue() noexcept {
    const velm::SpinGuard lock(_queueLock);
    _isAbandoned = true;
    return _queue.size();
}

void CSubscriber::_tellDropping() const noexcept {
    _record->noteQueueFull(now());
    logDropping("CSubscriber::notify", [this] {
        return fmt::format("The queue of the subscriber '{}' is full ({} indications), dropping the oldest.",
                           _subscriberID->toString().view(), _maxQueued);
    });
}

void CSubscriber::_tellEndOfBurst(std::uint64_t dropped) const noexcept {
    _record->noteDropped(velm::DropRule::queueFull, dropped, _record->lastDropSince(), now());
    logDropping("CSubscriber::getIndications", [this, dropped] {
        return fmt::format("The queue of the subscriber '{}' is empty again, indications dropped: {}.",
                           _subscriberID->toString().view(), dropped);
    });
}

std::size_t CSubscriber::getWaitingCount() {
    const velm::SpinGuard lock(_queueLock);
    return _queue.size();
}

void CSubscriber::updateTimeStamp() {
    _record->noteHeartbeat(now());
    _lastSign.store(_clock().time_since_epoch().count(), std::memory_order_relaxed);
    // After the time: whoever sees that the subscriber can expire sees its first heartbeat too.
    _canExpire.store(true, std::memory_order_release);
}

bool CSubscriber::isOutOfDate() const {
    if (!_connection.IsNull() && _connection->isClosed()) {
        return true;
    }
    if (_timeout.count() == 0 || !_canExpire.load(std::memory_order_acquire)) {
        return false;
    }
    const std::chrono::steady_clock::duration lastSign(_lastSign.load(std::memory_order_relaxed));
    return _clock().time_since_epoch() - lastSign >= _timeout;
}
