#pragma once

#include "CIMOM_Indications/CIMOMDeletedFilterRecord.h"
#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"
#include "CIMOM_Indications/CIMOMIndicationFilter.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/object_model/IOrvoInstanceName.h"

#include <memory>
#include <vector>

namespace velm {
class FilterIndex;
class RoutedIndication;
}  // namespace velm

/// The filter maps of one subscription target: a class as a whole, or one instance of it.
///
/// Whether two filters are equal is asked of the filter that is held already, with the new one as argument.
///
/// Threads: not synchronised. notify() and the readers: under the class manager's lock, on any number of
/// threads at once; everything else under its write lock. Failure: an exception of a filter or a subscriber
/// passes through; maps that come after it are not visited.
class CCIMOMIndicationFilterList {
public:
    using FilterSubscriberMapList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMFilterSubscriberMap>>>;

    CCIMOMIndicationFilterList();
    ~CCIMOMIndicationFilterList();
    CCIMOMIndicationFilterList(const CCIMOMIndicationFilterList&) = delete;
    CCIMOMIndicationFilterList& operator=(const CCIMOMIndicationFilterList&) = delete;

    /// Counts the subscription in the map of an equal filter, or opens a new map at the end of the list. The
    /// first `instanceName` that is not null becomes the name of the list. A null `filter` throws
    /// ORVNullPointerException and leaves the list as it was. Requires: the class manager's write lock.
    void subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                   ORVSmrPtr<IOrvoInstanceName> instanceName);

    /// Takes a subscription back from the first map whose filter is equal; answers whether the subscriber was
    /// found there. `isEmpty` says whether nothing is left, so that the owner may drop the list; its name is
    /// null then. Requires: the class manager's write lock.
    bool unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                     bool& isEmpty);

    /// Offers `indication` to every map, in order of creation: a subscriber behind two filters that match
    /// receives two. Requires: the class manager's lock.
    void notify(const ORVSmrPtr<IOrvoIndication>& indication);
    void notify(velm::RoutedIndication& indication);

    /// Drops the subscriber from every map and appends a record for each map that is empty then. `isEmpty`
    /// says whether no map is left; the list keeps its name. Requires: the class manager's write lock;
    /// `deletedFilters` holds a list.
    void removeSubscriber(const CSubscriberID& id, CCIMOMDeletedFilterRecord::List& deletedFilters,
                          bool& isEmpty);

    bool isEmpty() const noexcept { return _maps.isEmpty(); }

    /// Whether a map has a subscriber with this identity.
    bool hasSubscriber(const CSubscriberID& id) const;

    /// The maps in order; they come and go through the operations above only.
    FilterSubscriberMapList& getFilterSubscriberMapList() noexcept { return _filterList; }
    /// The instance that the list is for; a null handle for a class.
    ORVSmrPtr<IOrvoInstanceName>& getInstanceName() noexcept { return _instanceName; }

private:
    using Map = CCIMOMFilterSubscriberMap;
    using MapList = ORVValSlist<ORVSmrPtr<Map>>;

    /// Lists with more maps than this have an index.
    static constexpr unsigned int shortList = 16;

    std::vector<MapList::iterator> _mayEqual(const CCIMOMIndicationFilter& filter) const;
    std::vector<MapList::iterator> _mayHave(const CSubscriberID& id) const;
    std::vector<MapList::iterator> _all() const;
    void _append(const ORVSmrPtr<Map>& map);
    void _erase(MapList::iterator position) noexcept;
    void _updateIndex(MapList::iterator position, const CSubscriberID* id) noexcept;

    ORVSmrPtr<IOrvoInstanceName> _instanceName;
    FilterSubscriberMapList _filterList;
    /// The list behind the handle, which stays the same.
    MapList& _maps;
    /// Null for a short list, and when there was no memory for it: the list is walked then.
    std::unique_ptr<velm::FilterIndex> _index;
};
