#include "CIMOM_Indications/CIMOMIndicationFilterList.h"

#include "CIMOM_Indications/FilterIndex.h"
#include "CIMOM_Indications/RoutedIndication.h"

#include <algorithm>
#include <new>

using velm::FilterIndex;
using RecordList = ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>;

namespace {

std::vector<FilterIndex::Position> positionsOf(const FilterIndex::Places& places) {
    std::vector<FilterIndex::Position> positions(places.size());
    std::transform(places.begin(), places.end(), positions.begin(),
                   [](const FilterIndex::Place& place) { return place.position; });
    return positions;
}

}  // namespace

CCIMOMIndicationFilterList::CCIMOMIndicationFilterList() : _filterList(new MapList), _maps(*_filterList) {
}

CCIMOMIndicationFilterList::~CCIMOMIndicationFilterList() = default;

void CCIMOMIndicationFilterList::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                           ORVSmrPtr<CSubscriber> subscriber,
                                           ORVSmrPtr<IOrvoInstanceName> instanceName) {
    // A null filter fails here, before it is entered: each later indication and subscription would trip over
    // it.
    const CCIMOMIndicationFilter& wanted = *filter;

    if (_instanceName.IsNull()) {
        _instanceName = instanceName;
    }
    bool found = false;
    for (const MapList::iterator map : _mayEqual(wanted)) {
        if (*(*map)->getIndicationFilter() == filter) {
            (*map)->subscribe(subscriber);
            _updateIndex(map, subscriber->identity());
            found = true;
        }
    }
    if (!found) {
        ORVSmrPtr<RecordList> records(new RecordList);
        records->append(ORVSmrPtr<CCIMOMSubscriberRecord>(new CCIMOMSubscriberRecord(subscriber)));
        _append(ORVSmrPtr<Map>(new Map(filter, records)));
    }
}

bool CCIMOMIndicationFilterList::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                             ORVSmrPtr<CSubscriber> subscriber, bool& isEmpty) {
    isEmpty = false;
    for (const MapList::iterator position : _mayEqual(*filter)) {
        Map& map = **position;
        if (*map.getIndicationFilter() != filter) {
            continue;
        }
        const bool found = map.unsubscribe(subscriber);
        if (found) {
            _updateIndex(position, subscriber->identity());
        }
        if (found && !map.hasSubscribers()) {
            _erase(position);
            if (_maps.isEmpty()) {
                isEmpty = true;
                _instanceName = nullptr;
            }
        }
        return found;
    }
    return false;
}

void CCIMOMIndicationFilterList::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    velm::RoutedIndication routed(indication);
    notify(routed);
}

void CCIMOMIndicationFilterList::notify(velm::RoutedIndication& indication) {
    if (!_index) {
        for (const ORVSmrPtr<Map>& map : _maps) {
            if (map->getIndicationFilter()->match(indication.indication())) {
                map->notify(indication.indication());
            }
        }
        return;
    }
    for (const FilterIndex::Place& place : _index->mayMatch(indication)) {
        Map& map = **place.position;
        if (place.association ? place.association->matches(indication)
                              : map.getIndicationFilter()->match(indication.indication())) {
            map.notify(indication.indication());
        }
    }
}

void CCIMOMIndicationFilterList::removeSubscriber(const CSubscriberID& id,
                                                  CCIMOMDeletedFilterRecord::List& deletedFilters,
                                                  bool& isEmpty) {
    std::vector<MapList::iterator> emptied;
    for (const MapList::iterator position : _mayHave(id)) {
        Map& map = **position;
        map.removeSubscriber(id);
        _updateIndex(position, &id);
        if (!map.hasSubscribers()) {
            emptied.push_back(position);
        }
    }
    for (const MapList::iterator position : emptied) {
        deletedFilters->append(
            ORVSmrPtr<CCIMOMDeletedFilterRecord>(new CCIMOMDeletedFilterRecord(_instanceName, *position)));
        _erase(position);
    }
    isEmpty = _maps.isEmpty();
}

bool CCIMOMIndicationFilterList::hasSubscriber(const CSubscriberID& id) const {
    const auto positions = _mayHave(id);
    return std::any_of(positions.begin(), positions.end(),
                       [&id](MapList::iterator position) { return (*position)->hasSubscriber(id); });
}

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::_mayEqual(
    const CCIMOMIndicationFilter& filter) const {
    return _index ? positionsOf(_index->mayEqual(filter)) : _all();
}

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::_mayHave(
    const CSubscriberID& id) const {
    return _index ? positionsOf(_index->mayHave(id)) : _all();
}

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::_all() const {
    std::vector<MapList::iterator> positions;
    positions.reserve(_maps.entries());
    for (MapList::iterator position = _maps.begin(); position != _maps.end(); ++position) {
        positions.push_back(position);
    }
    return positions;
}

void CCIMOMIndicationFilterList::_append(const ORVSmrPtr<Map>& map) {
    _maps.append(map);
    try {
        if (_index) {
            _index->add(_maps.last());
        } else if (_maps.entries() > shortList) {
            _index = std::make_unique<FilterIndex>();
            for (const MapList::iterator position : _all()) {
                _index->add(position);
            }
        }
    } catch (const std::bad_alloc&) {
        _index.reset();
    }
}

void CCIMOMIndicationFilterList::_erase(MapList::iterator position) noexcept {
    if (_index) {
        _index->remove(position);
    }
    _maps.erase(position);
}

void CCIMOMIndicationFilterList::_updateIndex(MapList::iterator position, const CSubscriberID* id) noexcept {
    if (!_index || !id) {
        return;
    }
    try {
        _index->update(position, *id);
    } catch (const std::bad_alloc&) {
        _index.reset();
    }
}
