#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriber.h"

#include <cstdint>

/// A subscriber of a filter map, and how many of its subscriptions go through that map.
///
/// Threads: not synchronised, the count included: read under the class manager's lock, changed under its
/// write lock.
class CCIMOMSubscriberRecord {
public:
    explicit CCIMOMSubscriberRecord(ORVSmrPtr<CSubscriber> subscriber, std::uint32_t referenceCount = 1);

    ORVSmrPtr<CSubscriber> getSubscriber() const { return _subscriber; }
    /// The subscriber itself, for those who need no handle of their own.
    CSubscriber& subscriber() const { return _inPlace ? *_inPlace : *_subscriber; }
    CSubscriber* subscriberOrNull() const noexcept { return _inPlace; }
    /// The subscriber's identity in place; null when it has none.
    const CSubscriberID* identity() const { return subscriber().identity(); }
    std::uint32_t getReferenceCount() const noexcept { return _referenceCount; }

    /// Both answer the new count. Requires: the class manager's write lock; decrementing, a count above 0.
    std::uint32_t incrementRefCount() noexcept { return ++_referenceCount; }
    std::uint32_t decrementRefCount() noexcept { return --_referenceCount; }

private:
    const ORVSmrPtr<CSubscriber> _subscriber;
    /// What the handle holds, one step nearer.
    CSubscriber* const _inPlace;
    std::uint32_t _referenceCount;
};
