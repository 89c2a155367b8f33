#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoIndicationFilterProcessor.h"
#include "foundation/subscribers/CSubscriber.h"
#include "foundation/utilities/MadeOnce.h"

/// One row of a subscriber list: a subscriber and what it wants.
///
/// There may be a million rows, nearly all of them with unfiltered subscriptions of one kind: such a row
/// counts by itself and makes its filter processor when more is subscribed or somebody asks for it.
///
/// Threads: as the filter processor; its owner locks around changes.
class VELM_EXPORT CSubscriberTableEntry {
public:
    /// `isClassBased`: the row is for all instances of a class.
    CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased);
    /// With `unfiltered` subscriptions of `type`.
    CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased,
                          IOrvoIndication::IndicationType type, unsigned int unfiltered);
    CSubscriberTableEntry(const CSubscriberTableEntry&) = delete;
    CSubscriberTableEntry& operator=(const CSubscriberTableEntry&) = delete;
    virtual ~CSubscriberTableEntry();

    ORVSmrPtr<CSubscriber> getSubscriber() const { return _subscriber; }
    /// The subscriber itself, for those who need no handle of their own.
    CSubscriber& subscriber() const { return *_subscriber; }
    CSubscriber* subscriberOrNull() const noexcept { return _subscriber.Get(); }
    /// The subscriber's identity in place; null when it has none.
    const CSubscriberID* identity() const { return _subscriber->identity(); }
    bool isClassBased() const { return _isClassBased; }

    /// What the subscriber wants, to read and to change.
    ORVSmrPtr<COrvoIndicationFilterProcessor> getIndicationFilterProcessor() const;

    /// As the operations of the filter processor.
    void subscribe(IOrvoIndication::IndicationType type, const ORVSmrPtr<IOrvoSubscriptionFilter>& filter,
                   const ORVSmrPtr<IOrvoSubscriptionFilter>& resultFilter, unsigned int* referenceCount);
    void unsubscribe(IOrvoIndication::IndicationType type, const ORVSmrPtr<IOrvoSubscriptionFilter>& filter,
                     const ORVSmrPtr<IOrvoSubscriptionFilter>& resultFilter, unsigned int* referenceCount);
    bool willTriggerNotification() const;

    /// What the subscriber wants at this moment, to read.
    COrvoIndicationFilterProcessor getWants() const;

    /// Queues `indication` at the subscriber when the filter processor accepts it; answers whether it did.
    virtual bool notify(const ORVSmrPtr<IOrvoIndication>& indication);

private:
    ORVSmrPtr<CSubscriber> _subscriber;
    velm::MadeOnce<COrvoIndicationFilterProcessor> _filterProcessor;
    /// Until there is a filter processor: the unfiltered subscriptions, all of this type.
    unsigned int _unfiltered = 0;
    IOrvoIndication::IndicationType _type = IOrvoIndication::IndicationInvalid;
    bool _isClassBased;
};
