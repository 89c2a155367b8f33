#include "tests/unit/server/subscribers/FakeSubscriberManager.h"

#include <memory>

namespace velm::test {

namespace {

class WriteLock {
public:
    explicit WriteLock(const ORVReaderWriterLock& lock) : _lock(lock) { _lock.getWriteLock(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;
    ~WriteLock() { _lock.releaseWriteLock(); }

private:
    const ORVReaderWriterLock& _lock;
};

}  // namespace

FakeSubscriberManager::FakeSubscriberManager(std::chrono::milliseconds sweepInterval)
    : _self(this), _monitor(std::make_unique<CSubscriberNetworkConnectionMonitor>(_self, sweepInterval)) {
}

FakeSubscriberManager::FakeSubscriberManager(Configured)
    : _self(this), _monitor(std::make_unique<CSubscriberNetworkConnectionMonitor>(_self)) {
}

FakeSubscriberManager::~FakeSubscriberManager() {
    if (_monitor) {
        _monitor->shutdown();
    }
    _self.Set(nullptr);
}

bool FakeSubscriberManager::add(const ORVSmrPtr<CSubscriber>& subscriber) {
    const WriteLock lock(_lock);
    _subscribers.append(subscriber);
    const bool stands = _monitor->subscriptionChangeOccured();
    if (!stands) {
        _subscribers.removeAt(_subscribers.entries() - 1);
    }
    return stands;
}

void FakeSubscriberManager::replace(const ORVSmrPtr<CSubscriber>& subscriber) {
    const WriteLock lock(_lock);
    _remove(*subscriber->getSubscriberID(), true);
    add(subscriber);
}

void FakeSubscriberManager::forget(const ORVSmrPtr<CSubscriber>& subscriber) {
    const WriteLock lock(_lock);
    _subscribers.removeObject(subscriber);
}

bool FakeSubscriberManager::tellMonitor() {
    const WriteLock lock(_lock);
    return _monitor->subscriptionChangeOccured();
}

void FakeSubscriberManager::removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMontitor,
                                             bool /*cleanupDeletedSubscribers*/) {
    _count(_begun);
    const WriteLock lock(_lock);
    _remove(subscriberID, informConnectionMontitor);
}

void FakeSubscriberManager::checkSubscriberStatus() {
    _count(_begun);
    onCheck();
    {
        const WriteLock lock(_lock);
        const ORVValSlist<ORVSmrPtr<CSubscriber>> all(_subscribers);
        for (const ORVSmrPtr<CSubscriber>& subscriber : all) {
            if (!subscriber.IsNull() && subscriber->isOutOfDate()) {
                _remove(*subscriber->getSubscriberID(), true);
            }
        }
    }
    _count(_sweeps);
}

FakeSubscriberManager::List FakeSubscriberManager::getCurrentSubscribers() {
    _count(_begun);
    onList();
    List list;
    if (!answersNullList) {
        _lock.getReadLock();
        list = new ORVValSlist<ORVSmrPtr<CSubscriber>>(_subscribers);
        _lock.releaseReadLock();
    }
    _count(_listings);
    return list;
}

void FakeSubscriberManager::_remove(const CSubscriberID& subscriberID, bool informConnectionMontitor) {
    for (ORVValSlistIterator<ORVSmrPtr<CSubscriber>> position(_subscribers); ++position;) {
        if (!position.key().IsNull() && *position.key()->getSubscriberID() == subscriberID) {
            if (informConnectionMontitor) {
                _monitor->subscriptionChangeOccured();
            }
            position.remove();
            break;
        }
    }
}

void FakeSubscriberManager::_count(unsigned int& counter) {
    const std::lock_guard lock(_mutex);
    ++counter;
    _changed.notify_all();
}

bool FakeSubscriberManager::lists(const ORVSmrPtr<CSubscriber>& subscriber) const {
    _lock.getReadLock();
    const bool found = _subscribers.contains(subscriber);
    _lock.releaseReadLock();
    return found;
}

unsigned int FakeSubscriberManager::calls() const {
    const std::lock_guard lock(_mutex);
    return _begun;
}

unsigned int FakeSubscriberManager::_events() const {
    const std::lock_guard lock(_mutex);
    return _begun + _sweeps + _listings;
}

unsigned int FakeSubscriberManager::sweeps() const {
    const std::lock_guard lock(_mutex);
    return _sweeps;
}

bool FakeSubscriberManager::waitUntilGone(const ORVSmrPtr<CSubscriber>& subscriber) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const unsigned int seen = _events();
        if (!lists(subscriber)) {
            return true;
        }
        std::unique_lock lock(_mutex);
        if (!_changed.wait_until(lock, deadline, [&] { return _begun + _sweeps + _listings != seen; })) {
            return false;
        }
    }
}

bool FakeSubscriberManager::waitForSweeps(unsigned int count) const {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, patience, [&] { return _sweeps >= count; });
}

bool FakeSubscriberManager::waitForListings(unsigned int count) const {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, patience, [&] { return _listings >= count; });
}

}  // namespace velm::test
