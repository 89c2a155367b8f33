#pragma once

#include "foundation/Export.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriber.h"

/// The manager of subscribers as the delivery thread and the connection monitor see it. Any thread may call
/// it. The order of the virtual operations is part of the binary interface.
class VELM_EXPORT ISubscriberManager {
public:
    ISubscriberManager();
    ISubscriberManager(const ISubscriberManager&) = delete;
    ISubscriberManager& operator=(const ISubscriberManager&) = delete;
    virtual ~ISubscriberManager();

    /// Forgets the subscriber with this identity, with all its subscriptions. `informConnectionMontitor`:
    /// tell the connection monitor of the change (the spelling is part of the interface's history: hosts name
    /// the argument so). `cleanupDeletedSubscribers`: tell the providers at once, on this thread; otherwise
    /// the next clean-up does.
    virtual void removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMontitor,
                                  bool cleanupDeletedSubscribers) = 0;

    /// Removes every subscriber that is out of date.
    virtual void checkSubscriberStatus() = 0;

    /// A list of its own of all subscribers, in order of addition; possibly a null handle after a failure.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> getCurrentSubscribers() = 0;
};
