#include "CIMOM_Indications/CIMOMIndicationFilterList.h"

using Map = CCIMOMFilterSubscriberMap;
using MapList = ORVValSlist<ORVSmrPtr<Map>>;
using RecordList = ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>;

CCIMOMIndicationFilterList::CCIMOMIndicationFilterList() : _filterList(new MapList) {
}

void CCIMOMIndicationFilterList::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                           ORVSmrPtr<CSubscriber> subscriber,
                                           ORVSmrPtr<IOrvoInstanceName> instanceName) {
    // A null filter fails here, before it is entered: each later indication and subscription would trip over
    // it.
    static_cast<void>(filter.operator->());

    if (_instanceName.IsNull()) {
        _instanceName = instanceName;
    }
    bool found = false;
    for (const ORVSmrPtr<Map>& map : *_filterList) {
        if (*map->getIndicationFilter() == filter) {
            map->subscribe(subscriber);
            found = true;
        }
    }
    if (!found) {
        ORVSmrPtr<RecordList> records(new RecordList);
        records->append(ORVSmrPtr<CCIMOMSubscriberRecord>(new CCIMOMSubscriberRecord(subscriber)));
        _filterList->append(ORVSmrPtr<Map>(new Map(filter, records)));
    }
}

bool CCIMOMIndicationFilterList::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                             ORVSmrPtr<CSubscriber> subscriber, bool& isEmpty) {
    isEmpty = false;
    for (ORVValSlistIterator<ORVSmrPtr<Map>> it(*_filterList); ++it;) {
        Map& map = *it.key();
        if (*map.getIndicationFilter() != filter) {
            continue;
        }
        const bool found = map.unsubscribe(subscriber);
        if (found && !map.hasSubscribers()) {
            it.remove();
            if (_filterList->isEmpty()) {
                isEmpty = true;
                _instanceName = nullptr;
            }
        }
        return found;
    }
    return false;
}

void CCIMOMIndicationFilterList::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    for (const ORVSmrPtr<Map>& map : *_filterList) {
        if (map->getIndicationFilter()->match(indication)) {
            map->notify(indication);
        }
    }
}

void CCIMOMIndicationFilterList::removeSubscriber(const CSubscriberID& id,
                                                  CCIMOMDeletedFilterRecord::List& deletedFilters,
                                                  bool& isEmpty) {
    isEmpty = false;
    MapList emptied;
    for (const ORVSmrPtr<Map>& map : *_filterList) {
        map->removeSubscriber(id);
        if (!map->hasSubscribers()) {
            emptied.append(map);
        }
    }
    for (const ORVSmrPtr<Map>& map : emptied) {
        _filterList->removeObject(map);
        deletedFilters->append(
            ORVSmrPtr<CCIMOMDeletedFilterRecord>(new CCIMOMDeletedFilterRecord(_instanceName, map)));
    }
    isEmpty = _filterList->isEmpty();
}
