#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/ISubscriberManager.h"

#include <chrono>
#include <memory>

/// Watches the persistent connections of subscribers on a thread of its own.
///
/// It sees a peer's close at once, closes that connection, which makes its subscriber out of date, and has
/// the manager sweep: checkSubscriberStatus() finds the subscriber by itself rather than by its identity, so
/// that a client that registers anew on another connection at the same moment is not taken for the old one.
/// The same sweep runs at an interval for subscribers that fell silent. Bytes that a peer sends unasked are
/// thrown away.
///
/// The thread starts with the first subscriptionChangeOccured().
///
/// Threads: every operation on any thread. Ownership: shares the manager's self-handle; after shutdown() it
/// never calls the manager again. Failure: nothing is thrown; what the manager or the system throws is
/// logged, and the thread goes on.
class VELM_EXPORT CSubscriberNetworkConnectionMonitor {
public:
    /// Sweeps at the interval that sweepIntervalFor() derives from "VELM"/"SubscriberTimeout".
    explicit CSubscriberNetworkConnectionMonitor(ORVSmrPtr<ISubscriberManager> subscriberManager);
    /// Sweeps at an interval of the caller's choice; 0 never.
    CSubscriberNetworkConnectionMonitor(ORVSmrPtr<ISubscriberManager> subscriberManager,
                                        std::chrono::milliseconds sweepInterval);
    CSubscriberNetworkConnectionMonitor(const CSubscriberNetworkConnectionMonitor&) = delete;
    CSubscriberNetworkConnectionMonitor& operator=(const CSubscriberNetworkConnectionMonitor&) = delete;
    virtual ~CSubscriberNetworkConnectionMonitor();

    /// Stops watching. Waits for a call into the manager that is under way, never for the network. May be
    /// called twice, and from inside checkSubscriberStatus() on the monitor's own thread, where it does not
    /// wait. Requires: the caller holds no lock of the manager.
    virtual void shutdown();

    /// Tells the monitor that subscribers came or went; it looks at the manager's list soon after, on its own
    /// thread. Answers false when the change must not stand: after shutdown(), or when there are more
    /// subscribers than "VELM"/"MaxSubscribers" (default 0: no limit). Never waits: it is called under the
    /// manager's write lock. Requires: getCurrentSubscribers() can be called here, as the holder of the
    /// manager's write lock can.
    virtual bool subscriptionChangeOccured();

    /// A quarter of the time after which subscribers expire, from 1 s to 60 s; 0 (never) for 0.
    static std::chrono::milliseconds sweepIntervalFor(std::chrono::seconds subscriberTimeout) noexcept;

private:
    class Watch;
    std::shared_ptr<Watch> _watch;
};
