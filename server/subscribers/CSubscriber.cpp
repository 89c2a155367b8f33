#include "foundation/subscribers/CSubscriber.h"

#include "foundation/services/ORVLog.h"
#include "server/subscribers/Settings.h"

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
    : _subscriberID(subscriberID),
      _localHostName(localHostName),
      _localPortNumber(localPortNumber),
      _connection(connection),
      _clock(clock),
      _timeout(velm::subscriberSetting("SubscriberTimeout", defaultTimeout)),
      _maxQueued(velm::subscriberSetting("MaxQueuedIndications", defaultMaxQueued)),
      _canExpire(!connection.IsNull()),
      _lastSign(clock().time_since_epoch().count()) {
}

CSubscriber::~CSubscriber() = default;

void CSubscriber::notify(ORVSmrPtr<IOrvoIndication> indication) {
    auto dropped = ORVSmrPtr<IOrvoIndication>::none();
    bool isFirstDrop = false;
    {
        std::lock_guard<std::mutex> lock(_queueLock);
        _queue.append(std::move(indication));
        _hasQueued.store(true, std::memory_order_relaxed);
        increment(_queuedCount);
        if (_maxQueued != 0 && _queue.entries() > _maxQueued) {
            dropped = _queue.removeAt(0);
            increment(_droppedCount);
            isFirstDrop = ++_droppedInBurst == 1;
        }
    }
    if (isFirstDrop) {
        logDropping(
            "CSubscriber::notify",
            fmt::format("The queue of the subscriber '{}' is full ({} indications), dropping the oldest.",
                        _subscriberID->toString().view(), _maxQueued));
    }
}

CSubscriber::IndicationList CSubscriber::getIndications() {
    if (!_hasQueued.load(std::memory_order_relaxed)) {
        return IndicationList::none();
    }
    const IndicationList indications(new ORVValSlist<ORVSmrPtr<IOrvoIndication>>);
    std::uint64_t dropped = 0;
    {
        std::lock_guard<std::mutex> lock(_queueLock);
        std::swap(*indications, _queue);
        std::swap(dropped, _droppedInBurst);
        _hasQueued.store(false, std::memory_order_relaxed);
    }
    if (dropped != 0) {
        logDropping("CSubscriber::getIndications",
                    fmt::format("The queue of the subscriber '{}' is empty again, indications dropped: {}.",
                                _subscriberID->toString().view(), dropped));
    }
    return indications->isEmpty() ? IndicationList::none() : indications;
}

std::size_t CSubscriber::getWaitingCount() {
    std::lock_guard<std::mutex> lock(_queueLock);
    return _queue.entries();
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
