#include "foundation/subscribers/CSubscriber.h"

#include "foundation/services/ORVLog.h"
#include "server/subscribers/Settings.h"
#include "server/utilities/SpinGuard.h"

#include <new>
#include <utility>

#include <fmt/format.h>

namespace {

constexpr unsigned int defaultTimeout = 900;
constexpr unsigned int defaultMaxQueued = 100000;

void logDropping(const char* component, const std::string& message) {
    ORVLog::log(component, std::string_view(message), OrvoTraceLog::SeverityWarning,
                OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

/// For counters that are written under a lock and read without.
void increment(std::atomic<std::uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
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
        _logDropping();
    }
}

CSubscriber::IndicationList CSubscriber::getIndications() {
    if (!_hasQueued.load(std::memory_order_relaxed)) {
        return IndicationList::none();
    }
    IndicationList indications(new ORVValSlist<ORVSmrPtr<IOrvoIndication>>);
    velm::IndicationQueue taken;
    std::uint64_t dropped = 0;
    {
        const velm::SpinGuard lock(_queueLock);
        taken.swap(_queue);
        std::swap(dropped, _droppedInBurst);
        _hasQueued.store(false, std::memory_order_relaxed);
    }
    const std::size_t count = taken.size();
    try {
        while (!taken.isEmpty()) {
            indications->append(taken.pop());
        }
    } catch (const std::bad_alloc&) {
        _countLost(count);
        throw;
    }
    if (dropped != 0) {
        _logEndOfBurst(dropped);
    }
    return count == 0 ? IndicationList::none() : indications;
}

void CSubscriber::_countLost(std::size_t lost) noexcept {
    const velm::SpinGuard lock(_queueLock);
    _droppedCount.fetch_add(lost, std::memory_order_relaxed);
}

void CSubscriber::_logDropping() const {
    logDropping("CSubscriber::notify",
                fmt::format("The queue of the subscriber '{}' is full ({} indications), dropping the oldest.",
                            _subscriberID->toString().view(), _maxQueued));
}

void CSubscriber::_logEndOfBurst(std::uint64_t dropped) const {
    logDropping("CSubscriber::getIndications",
                fmt::format("The queue of the subscriber '{}' is empty again, indications dropped: {}.",
                            _subscriberID->toString().view(), dropped));
}

std::size_t CSubscriber::getWaitingCount() {
    const velm::SpinGuard lock(_queueLock);
    return _queue.size();
}

void CSubscriber::updateTimeStamp() {
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
