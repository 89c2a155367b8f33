#pragma once

#include "foundation/subscribers/CSubscriberNetworkConnectionMonitor.h"
#include "foundation/subscribers/ISubscriberManager.h"
#include "foundation/utilities/ORVReaderWriterLock.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace velm::test {

/// A list of subscribers behind one reader/writer lock, and the monitor that watches them.
///
/// It locks, and calls the monitor under its lock, in the way that the monitor is written for. Its handle on
/// itself is emptied, as the monitor's owner does it, when it goes.
///
/// Threads: hooks are set before the first change, everything else on any thread.
class FakeSubscriberManager : public ISubscriberManager {
public:
    using List = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>>;
    static constexpr std::chrono::seconds patience{10};

    /// Makes the monitor, with a sweep interval (0: none) or with the configured one.
    explicit FakeSubscriberManager(std::chrono::milliseconds sweepInterval = std::chrono::milliseconds(0));
    struct Configured {};
    explicit FakeSubscriberManager(Configured);
    ~FakeSubscriberManager() override;

    CSubscriberNetworkConnectionMonitor& monitor() { return *_monitor; }
    void destroyMonitor() { _monitor.reset(); }
    void emptyHandle() { _self.Set(nullptr); }

    /// Appends, tells the monitor, and takes back what it refuses; answers whether it stands.
    bool add(const ORVSmrPtr<CSubscriber>& subscriber);
    /// Puts `subscriber` in the place of the one with the same identity.
    void replace(const ORVSmrPtr<CSubscriber>& subscriber);
    /// Takes the subscriber out and does not tell the monitor.
    void forget(const ORVSmrPtr<CSubscriber>& subscriber);
    /// subscriptionChangeOccured() under the write lock.
    bool tellMonitor();

    void removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMontitor,
                          bool cleanupDeletedSubscribers) override;
    void checkSubscriberStatus() override;
    List getCurrentSubscribers() override;

    /// Run at the start of the operation, under no lock; may throw. Nothing by default.
    std::function<void()> onCheck = [] {};
    std::function<void()> onList = [] {};
    /// What getCurrentSubscribers() answers in place of a list.
    bool answersNullList = false;

    bool lists(const ORVSmrPtr<CSubscriber>& subscriber) const;
    unsigned int calls() const;
    unsigned int sweeps() const;

    /// Waits, for `patience` at the most, until the subscriber is no longer listed, or until so many sweeps
    /// or listings have ended.
    bool waitUntilGone(const ORVSmrPtr<CSubscriber>& subscriber) const;
    bool waitForSweeps(unsigned int count) const;
    bool waitForListings(unsigned int count) const;

private:
    void _remove(const CSubscriberID& subscriberID, bool informConnectionMontitor);
    unsigned int _events() const;
    void _count(unsigned int& counter);

    ORVReaderWriterLock _lock;
    ORVValSlist<ORVSmrPtr<CSubscriber>> _subscribers;

    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    unsigned int _begun = 0;
    unsigned int _sweeps = 0;
    unsigned int _listings = 0;

    ORVSmrPtr<ISubscriberManager> _self;
    std::unique_ptr<CSubscriberNetworkConnectionMonitor> _monitor;
};

}  // namespace velm::test
