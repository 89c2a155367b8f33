#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoIndicationFilterProcessor.h"
#include "foundation/subscribers/CSubscriber.h"

/// One row of a subscriber list: a subscriber and what it wants.
///
/// Threads: as the filter processor; its owner locks around changes.
class VELM_EXPORT CSubscriberTableEntry {
public:
    /// `isClassBased`: the row is for all instances of a class.
    CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased);
    virtual ~CSubscriberTableEntry();

    ORVSmrPtr<CSubscriber> getSubscriber() const { return _subscriber; }
    ORVSmrPtr<COrvoIndicationFilterProcessor> getIndicationFilterProcessor() const {
        return _filterProcessor;
    }
    bool isClassBased() const { return _isClassBased; }

    /// Queues `indication` at the subscriber when the filter processor accepts it; answers whether it did.
    virtual bool notify(const ORVSmrPtr<IOrvoIndication>& indication);

private:
    ORVSmrPtr<CSubscriber> _subscriber;
    ORVSmrPtr<COrvoIndicationFilterProcessor> _filterProcessor;
    bool _isClassBased;
};
