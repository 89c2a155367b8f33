#pragma once

#include "CIMOM_Indications/CIMOMDeletedFilterRecord.h"
#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"
#include "CIMOM_Indications/CIMOMIndicationFilter.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/utilities/OwnedOnce.h"

#include <cstdint>
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
/// There may be a million lists, nearly all of them with one subscriber behind one filter: these stand in the
/// list object itself. Maps, records and the lists of them are made when there is more to hold or somebody
/// asks for them.
///
/// Threads: not synchronised. notify() and the readers: under the class manager's lock, on any number of
/// threads at once; everything else under its write lock. Failure: an exception of a filter or a subscriber
/// passes through; maps that come after it are not visited.
class CCIMOMIndicationFilterList {
public:
    using FilterSubscriberMapList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMFilterSubscriberMap>>>;

    CCIMOMIndicationFilterList();
    /// The list of the instance whose name COrvoInstanceName::ofParts() makes from `nameSpace` and `key`,
    /// which is "class:key properties".
    CCIMOMIndicationFilterList(const ORVString& nameSpace, const ORVString& key);
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

    bool isEmpty() const noexcept {
        const Parts* parts = _made.find();
        return parts ? parts->maps.isEmpty() : _filter.IsNull();
    }

    /// Whether a map has a subscriber with this identity.
    bool hasSubscriber(const CSubscriberID& id) const;

    /// Hands the identity of each subscriber of each map to `visit`.
    template <class Visitor>
    void visitIdentities(Visitor visit) const {
        if (const Parts* parts = _made.find()) {
            for (const ORVSmrPtr<CCIMOMFilterSubscriberMap>& map : parts->maps) {
                for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *map->getSubscriberList()) {
                    if (const CSubscriberID* id = record->identity()) {
                        visit(*id);
                    }
                }
            }
        } else if (!_filter.IsNull()) {
            visit(*_subscriber->identity());
        }
    }

    /// The maps in order; they come and go through the operations above only.
    FilterSubscriberMapList& getFilterSubscriberMapList() { return _parts().filterList; }
    /// The instance that the list is for; a null handle for a class.
    ORVSmrPtr<IOrvoInstanceName>& getInstanceName() { return _parts().instanceName; }

    struct Contents {
        ORVSmrPtr<IOrvoInstanceName> instanceName;
        FilterSubscriberMapList maps;
    };

    /// Both, to read at once: what stands in the list object is not made objects of their own for good.
    Contents getContents() const;

private:
    using Map = CCIMOMFilterSubscriberMap;
    using MapList = ORVValSlist<ORVSmrPtr<Map>>;

    /// Lists with more maps than this have an index.
    static constexpr unsigned int shortList = 16;

    struct Parts {
        Parts();
        ~Parts();

        std::vector<MapList::iterator> mayEqual(const CCIMOMIndicationFilter& filter) const;
        std::vector<MapList::iterator> mayHave(const CSubscriberID& id) const;
        std::vector<MapList::iterator> all() const;
        void append(const ORVSmrPtr<Map>& map);
        void erase(MapList::iterator position) noexcept;
        void updateIndex(MapList::iterator position, const CSubscriberID* id) noexcept;

        ORVSmrPtr<IOrvoInstanceName> instanceName;
        FilterSubscriberMapList filterList;
        /// The list behind the handle, which stays the same.
        MapList& maps;
        /// Null for a short list, and when there was no memory for it: the list is walked then.
        std::unique_ptr<velm::FilterIndex> index;
    };

    bool _isSingleOf(const CSubscriberID& id) const;
    bool _unsubscribeSingle(const ORVSmrPtr<CSubscriber>& subscriber, bool& isEmpty);
    void _clearSingle() noexcept;
    ORVSmrPtr<IOrvoInstanceName> _makeName() const;
    ORVSmrPtr<Map> _makeMap() const;
    Parts& _parts() const;
    Parts& _partsToChange();

    /// Tell the instance name; the key is null when there is no name, or when it was kept instead.
    ORVString _nameSpace;
    ORVString _key;
    velm::OwnedOnce<Parts> _made;
    // Until there are parts: the only filter, its subscriber and the count of its subscriptions, if there is
    // a filter.
    ORVSmrPtr<CCIMOMIndicationFilter> _filter = ORVSmrPtr<CCIMOMIndicationFilter>::none();
    ORVSmrPtr<CSubscriber> _subscriber = ORVSmrPtr<CSubscriber>::none();
    std::uint32_t _count = 0;
};
