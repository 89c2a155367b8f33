#include "CIMOM_Indications/CIMOMIndicationFilterList.h"

#include "CIMOM_Indications/FilterIndex.h"
#include "CIMOM_Indications/RoutedIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"

#include <algorithm>
#include <new>
#include <string_view>

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

CCIMOMIndicationFilterList::CCIMOMIndicationFilterList() = default;

CCIMOMIndicationFilterList::CCIMOMIndicationFilterList(const ORVString& nameSpace, const ORVString& key)
    : _nameSpace(nameSpace), _key(key) {
}

CCIMOMIndicationFilterList::~CCIMOMIndicationFilterList() = default;

void CCIMOMIndicationFilterList::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                           ORVSmrPtr<CSubscriber> subscriber,
                                           ORVSmrPtr<IOrvoInstanceName> instanceName) {
    // A null filter fails here, before it is entered: each later indication and subscription would trip over
    // it.
    const CCIMOMIndicationFilter& wanted = *filter;

    if (!_made.find() && (instanceName.IsNull() || !_key.isNull())) {
        if (_filter.IsNull() && !subscriber.IsNull() && subscriber->identity()) {
            _filter = filter;
            _subscriber = subscriber;
            _count = 1;
            return;
        }
        if (!_filter.IsNull() && _subscriber == subscriber && *_filter == filter) {
            ++_count;
            return;
        }
    }
    Parts& parts = _partsToChange();
    if (parts.instanceName.IsNull()) {
        parts.instanceName = instanceName;
    }
    bool found = false;
    for (const MapList::iterator map : parts.mayEqual(wanted)) {
        if (*(*map)->getIndicationFilter() == filter) {
            (*map)->subscribe(subscriber);
            parts.updateIndex(map, subscriber->identity());
            found = true;
        }
    }
    if (!found) {
        ORVSmrPtr<RecordList> records(new RecordList);
        records->append(ORVSmrPtr<CCIMOMSubscriberRecord>::make(subscriber));
        parts.append(ORVSmrPtr<Map>::make(filter, records));
    }
}

bool CCIMOMIndicationFilterList::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                             ORVSmrPtr<CSubscriber> subscriber, bool& isEmpty) {
    isEmpty = false;
    if (!_made.find()) {
        return !_filter.IsNull() && *_filter == filter && _unsubscribeSingle(subscriber, isEmpty);
    }
    Parts& parts = _partsToChange();
    if (parts.maps.isEmpty()) {
        return false;
    }
    for (const MapList::iterator position : parts.mayEqual(*filter)) {
        Map& map = **position;
        if (*map.getIndicationFilter() != filter) {
            continue;
        }
        const bool found = map.unsubscribe(subscriber);
        if (found) {
            parts.updateIndex(position, subscriber->identity());
        }
        if (found && !map.hasSubscribers()) {
            parts.erase(position);
            if (parts.maps.isEmpty()) {
                isEmpty = true;
                parts.instanceName = nullptr;
            }
        }
        return found;
    }
    return false;
}

bool CCIMOMIndicationFilterList::_unsubscribeSingle(const ORVSmrPtr<CSubscriber>& subscriber, bool& isEmpty) {
    if (&*_subscriber != &*subscriber) {
        Map::logStranger(*subscriber);
        return false;
    }
    if (--_count == 0) {
        _clearSingle();
        _key = ORVString();
        isEmpty = true;
    }
    return true;
}

void CCIMOMIndicationFilterList::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    velm::RoutedIndication routed(indication);
    notify(routed);
}

void CCIMOMIndicationFilterList::notify(velm::RoutedIndication& indication) {
    const Parts* parts = _made.find();
    if (!parts) {
        if (!_filter.IsNull() && velm::matches(*_filter, indication)) {
            _subscriber->notify(Map::makeOutgoing(*_filter, *indication.indication()));
            indication.noteQueued(true);
        }
        return;
    }
    if (!parts->index) {
        for (const ORVSmrPtr<Map>& map : parts->maps) {
            if (velm::matches(*map->getIndicationFilter(), indication)) {
                map->notify(indication.indication());
                indication.noteQueued(true);
            }
        }
        return;
    }
    for (const FilterIndex::Place& place : parts->index->mayMatch(indication)) {
        Map& map = **place.position;
        if (place.association ? place.association->matches(indication)
                              : map.getIndicationFilter()->match(indication.indication())) {
            map.notify(indication.indication());
            indication.noteQueued(true);
        }
    }
}

void CCIMOMIndicationFilterList::removeSubscriber(const CSubscriberID& id,
                                                  CCIMOMDeletedFilterRecord::List& deletedFilters,
                                                  bool& isEmpty) {
    if (!_made.find()) {
        if (_isSingleOf(id)) {
            const ORVSmrPtr<Map> map = _makeMap();
            map->removeSubscriber(id);
            deletedFilters->append(ORVSmrPtr<CCIMOMDeletedFilterRecord>::make(_makeName(), map));
            _clearSingle();
        }
        isEmpty = _filter.IsNull();
        return;
    }
    Parts& parts = _partsToChange();
    const std::vector<MapList::iterator> positions = parts.mayHave(id);
    std::vector<MapList::iterator> emptied;
    emptied.reserve(positions.size());
    for (const MapList::iterator position : positions) {
        Map& map = **position;
        map.removeSubscriber(id);
        parts.updateIndex(position, &id);
        if (!map.hasSubscribers()) {
            emptied.push_back(position);
        }
    }
    for (const MapList::iterator position : emptied) {
        deletedFilters->append(ORVSmrPtr<CCIMOMDeletedFilterRecord>::make(parts.instanceName, *position));
        parts.erase(position);
    }
    isEmpty = parts.maps.isEmpty();
}

bool CCIMOMIndicationFilterList::hasSubscriber(const CSubscriberID& id) const {
    const Parts* parts = _made.find();
    if (!parts) {
        return _isSingleOf(id);
    }
    const auto positions = parts->mayHave(id);
    return std::any_of(positions.begin(), positions.end(),
                       [&id](MapList::iterator position) { return (*position)->hasSubscriber(id); });
}

CCIMOMIndicationFilterList::Contents CCIMOMIndicationFilterList::getContents() const {
    if (const Parts* parts = _made.find()) {
        return {parts->instanceName, parts->filterList};
    }
    Contents contents{_makeName(), FilterSubscriberMapList(new MapList)};
    if (!_filter.IsNull()) {
        contents.maps->append(_makeMap());
    }
    return contents;
}

bool CCIMOMIndicationFilterList::_isSingleOf(const CSubscriberID& id) const {
    return !_filter.IsNull() && *_subscriber->identity() == id;
}

void CCIMOMIndicationFilterList::_clearSingle() noexcept {
    _filter = ORVSmrPtr<CCIMOMIndicationFilter>::none();
    _subscriber = ORVSmrPtr<CSubscriber>::none();
    _count = 0;
}

ORVSmrPtr<IOrvoInstanceName> CCIMOMIndicationFilterList::_makeName() const {
    if (_key.isNull()) {
        return nullptr;
    }
    const std::string_view key = _key.view();
    const std::size_t colon = key.find(':');
    return COrvoInstanceName::ofParts(_nameSpace, key.substr(0, colon), key.substr(colon + 1));
}

ORVSmrPtr<CCIMOMFilterSubscriberMap> CCIMOMIndicationFilterList::_makeMap() const {
    ORVSmrPtr<RecordList> records(new RecordList);
    records->append(ORVSmrPtr<CCIMOMSubscriberRecord>::make(_subscriber, _count));
    return ORVSmrPtr<Map>::make(_filter, records);
}

CCIMOMIndicationFilterList::Parts& CCIMOMIndicationFilterList::_parts() const {
    return _made.get([this] {
        auto parts = std::make_unique<Parts>();
        parts->instanceName = _makeName();
        if (!_filter.IsNull()) {
            parts->append(_makeMap());
        }
        return parts;
    });
}

CCIMOMIndicationFilterList::Parts& CCIMOMIndicationFilterList::_partsToChange() {
    Parts& parts = _parts();
    _clearSingle();
    return parts;
}

CCIMOMIndicationFilterList::Parts::Parts() : filterList(new MapList), maps(*filterList) {
}

CCIMOMIndicationFilterList::Parts::~Parts() = default;

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::Parts::mayEqual(
    const CCIMOMIndicationFilter& filter) const {
    return index ? positionsOf(index->mayEqual(filter)) : all();
}

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::Parts::mayHave(
    const CSubscriberID& id) const {
    return index ? positionsOf(index->mayHave(id)) : all();
}

std::vector<CCIMOMIndicationFilterList::MapList::iterator> CCIMOMIndicationFilterList::Parts::all() const {
    std::vector<MapList::iterator> positions;
    positions.reserve(maps.entries());
    for (MapList::iterator position = maps.begin(); position != maps.end(); ++position) {
        positions.push_back(position);
    }
    return positions;
}

void CCIMOMIndicationFilterList::Parts::append(const ORVSmrPtr<Map>& map) {
    maps.append(map);
    try {
        if (index) {
            index->add(maps.last());
        } else if (maps.entries() > shortList) {
            index = std::make_unique<FilterIndex>();
            for (const MapList::iterator position : all()) {
                index->add(position);
            }
        }
    } catch (const std::bad_alloc&) {
        index.reset();
    }
}

void CCIMOMIndicationFilterList::Parts::erase(MapList::iterator position) noexcept {
    if (index) {
        index->remove(position);
    }
    maps.erase(position);
}

void CCIMOMIndicationFilterList::Parts::updateIndex(MapList::iterator position,
                                                    const CSubscriberID* id) noexcept {
    if (!index || !id) {
        return;
    }
    try {
        index->update(position, *id);
    } catch (const std::bad_alloc&) {
        index.reset();
    }
}
