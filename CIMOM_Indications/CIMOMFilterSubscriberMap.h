#pragma once

#include "CIMOM_Indications/CIMOMIndicationFilter.h"
#include "CIMOM_Indications/CIMOMSubscriberRecord.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/subscribers/CSubscriber.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "foundation/subscribers/SubscriberIndex.h"

/// One filter and the subscribers that subscribed through it, each once, with the number of its
/// subscriptions.
///
/// Threads: not synchronised. notify() and the readers: under the class manager's lock, on any number of
/// threads at once. Everything that changes the subscribers: under its write lock. Ownership: lives in a
/// filter list as long as it has subscribers; a deleted-filter record can keep it alive beyond that.
class CCIMOMFilterSubscriberMap {
public:
    using SubscriberRecordList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>>;

    /// `subscriberList` is shared with the caller, who made it; it has at most one record for each subscriber
    /// object.
    CCIMOMFilterSubscriberMap(ORVSmrPtr<CCIMOMIndicationFilter> indicationFilter,
                              SubscriberRecordList subscriberList);

    /// Counts one more subscription of `subscriber` (the same object, not an equal identity), after those
    /// that came before it. Requires: the class manager's write lock.
    void subscribe(ORVSmrPtr<CSubscriber> subscriber);

    /// Takes one subscription of `subscriber` back and drops the subscriber with its last one. Answers false,
    /// and logs it, when it has none. Requires: the class manager's write lock.
    bool unsubscribe(ORVSmrPtr<CSubscriber> subscriber);

    /// Drops the first subscriber with this identity, however many subscriptions it has. Nobody is told when
    /// there is none. Requires: the class manager's write lock.
    void removeSubscriber(const CSubscriberID& id);

    bool hasSubscribers() const { return !_subscriberList->isEmpty(); }
    bool hasSubscriber(const CSubscriberID& id) const;

    /// Hands one new indication, of the type that the filter stands for, to each subscriber in order; they
    /// share it. The filter is not asked again. Requires: the class manager's lock; the filter matched
    /// `indication`.
    void notify(const ORVSmrPtr<IOrvoIndication>& indication);

    /// The indication that subscribers behind `filter` receive for one that it matched.
    static ORVSmrPtr<IOrvoIndication> makeOutgoing(const CCIMOMIndicationFilter& filter,
                                                   const IOrvoIndication& indication);
    /// Logs that `subscriber` unsubscribed without being there.
    static void logStranger(const CSubscriber& subscriber);

    ORVSmrPtr<CCIMOMIndicationFilter>& getIndicationFilter() noexcept { return _indicationFilter; }
    ORVSmrPtr<CCIMOMIndicationFilter> getIndicationFilter() const { return _indicationFilter; }
    /// The records in order; they come and go through the operations above only.
    SubscriberRecordList& getSubscriberList() noexcept { return _subscriberList; }

private:
    using Records = ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>;

    Records::iterator _find(const CSubscriber& subscriber) const;
    Records::iterator _find(const CSubscriberID& id) const;

    ORVSmrPtr<CCIMOMIndicationFilter> _indicationFilter;
    SubscriberRecordList _subscriberList;
    SubscriberIndex<CCIMOMSubscriberRecord> _index;
};
