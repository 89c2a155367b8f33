#include "Indications/DeliveryRecords.h"
#include "Indications/IndicationManager.h"
#include "foundation/utilities/ORVLockGuard.h"

namespace {

void add(velm::IndicationCounters& counters, const CSubscriber& subscriber) {
    counters.queued += subscriber.getQueuedCount();
    counters.dropped[velm::numberOf(velm::DropRule::queueFull)] += subscriber.getDroppedCount();
}

}  // namespace

std::vector<ORVSmrPtr<CSubscriber>> CIndicationManager::_snapshot(velm::IndicationCounters& counters) const {
    std::vector<ORVSmrPtr<CSubscriber>> subscribers;
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    subscribers.reserve(_subscribers.entries());
    for (const ORVSmrPtr<CSubscriber>& subscriber : _subscribers) {
        if (!subscriber.IsNull()) {
            subscribers.push_back(subscriber);
        }
    }
    // Not later: a subscriber that is removed meanwhile would be counted twice.
    counters = _records->counters();
    return subscribers;
}

velm::IndicationCounters CIndicationManager::getCounters() const {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    velm::IndicationCounters counters = _records->counters();
    for (const ORVSmrPtr<CSubscriber>& subscriber : _subscribers) {
        if (!subscriber.IsNull()) {
            add(counters, *subscriber);
        }
    }
    return counters;
}

velm::IndicationStatus CIndicationManager::getStatus() const {
    velm::IndicationStatus status;
    const std::vector<ORVSmrPtr<CSubscriber>> subscribers = _snapshot(status.counters);
    status.subscribers.reserve(subscribers.size());
    for (const ORVSmrPtr<CSubscriber>& subscriber : subscribers) {
        add(status.counters, *subscriber);
        status.subscribers.push_back(velm::describe(*subscriber));
    }
    status.removed = _records->removed();
    return status;
}
