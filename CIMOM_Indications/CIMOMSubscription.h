#pragma once

#include "CIMOM_Indications/CIMOMIndicationFilterList.h"
#include "CIMOM_Indications/SubscriberPlaces.h"
#include "foundation/containers/ORVValMap.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoValue.h"

/// The subscription table of one class: a list for the class as a whole, and one list for each subscribed
/// instance.
///
/// A subscription's `target` means an instance when it is a reference; a null handle, or a value of any other
/// type, means the class as a whole. Instances are told apart by "class:key properties", byte by byte, where
/// the class is that of the instance name and may be a subclass of the table's class.
///
/// Threads: not synchronised. notify() and the readers: under the class manager's lock, on any number of
/// threads at once; everything else under its write lock. notify() takes instance lists out of the map
/// although others may be reading it; such a list stays valid for those who found it until the next change
/// under the write lock.
class CCIMOMSubscription {
public:
    using InstanceMap = ORVValMap<ORVString, ORVSmrPtr<CCIMOMIndicationFilterList>>;
    using InstanceMapList = ORVSmrPtr<InstanceMap>;

    /// Requires: `bucketCount`, the width of the map of instances, is above 0.
    explicit CCIMOMSubscription(unsigned int bucketCount);

    /// Requires: the class manager's write lock.
    void subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                   ORVSmrPtr<IOrvoValue> target);

    /// Answers whether the subscriber was found under an equal filter for that target. An instance's list
    /// goes with its last subscription. Requires: the class manager's write lock.
    bool unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                     ORVSmrPtr<IOrvoValue> target);

    /// Offers `indication` to the class-wide list and to the list of the instance that it is about or, with
    /// `useInstanceNamesFromReferences`, to the lists of the two instances that the association object refers
    /// to.
    ///
    /// The destruction of an instance ends the subscriptions to it, silently, once they were offered it. When
    /// several threads report the destruction of one instance at once, its list hears at least one of the
    /// reports, and each of them at most once. Requires: the class manager's lock.
    void notify(const ORVSmrPtr<IOrvoIndication>& indication, bool useInstanceNamesFromReferences);
    void notify(velm::RoutedIndication& indication, bool useInstanceNamesFromReferences);

    /// Drops the subscriber from every list, with a record for each map that is empty then, and drops the
    /// instance lists that have become empty. Requires: the class manager's write lock; `deletedFilters`
    /// holds a list.
    void removeSubscriber(const CSubscriberID& id, CCIMOMDeletedFilterRecord::List& deletedFilters);

    /// Whether notify() has nothing to offer an indication to.
    bool isEmpty() const noexcept { return _classList.isEmpty() && _instances.isEmpty(); }

    ORVSmrPtr<CCIMOMIndicationFilterList>& getClassMapList() noexcept {
        return _classFilterSubscriberMapList;
    }
    InstanceMapList& getInstanceMapList() noexcept { return _instanceFilterSubscriberMapList; }

private:
    ORVSmrPtr<CCIMOMIndicationFilterList> _makeList(const IOrvoInstanceName& instanceName,
                                                    const ORVString& key);
    void _notifyInstance(const ORVString& key, velm::RoutedIndication& indication, bool isDestroyed);
    void _purge();

    ORVSmrPtr<CCIMOMIndicationFilterList> _classFilterSubscriberMapList;
    InstanceMapList _instanceFilterSubscriberMapList;
    // What the two handles hold, for as long as the table lives.
    CCIMOMIndicationFilterList& _classList;
    InstanceMap& _instances;
    /// Who is in which instance's list.
    velm::SubscriberPlaces _places;
    /// Of the last list made: instances of one class are mostly of one namespace, and share its text.
    ORVString _nameSpace;
};
