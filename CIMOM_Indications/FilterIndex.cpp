#include "CIMOM_Indications/FilterIndex.h"

#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"

#include <algorithm>
#include <array>
#include <functional>
#include <typeinfo>

namespace velm {

namespace {

using Association = CCIMOMAssociationIndicationFilter;
using Place = FilterIndex::Place;
using Places = FilterIndex::Places;

bool comparesTypesOnly(const CCIMOMIndicationFilter& filter) {
    const std::type_info& type = typeid(filter);
    return type == typeid(CCIMOMCreationIndicationFilter) ||
           type == typeid(CCIMOMDestructionIndicationFilter);
}

/// The same number for both orders of the two.
std::uint64_t unordered(std::uint32_t one, std::uint32_t two) {
    return (static_cast<std::uint64_t>(std::max(one, two)) << 32U) | std::min(one, two);
}

std::uint32_t hashOfEnd(const CCIMOMClass* node, const std::optional<ORVString>& keys) {
    const std::size_t hash = std::hash<const CCIMOMClass*>()(node) * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(hash >> 32U) ^ (keys ? hashKeyORVString(*keys) : 0U);
}

// What filters are filed under. Two that meet under one number by chance cost a question more.

constexpr std::uint64_t unknownKind = ~0ULL;
constexpr std::uint64_t anyIndication = ~0ULL;

std::uint64_t equalityOf(const Association& filter) {
    return unordered(hashOfEnd(filter.classOne().Get(), filter.keysOne()),
                     hashOfEnd(filter.classTwo().Get(), filter.keysTwo()));
}

std::uint64_t equalityOf(const CCIMOMIndicationFilter& filter, const Association* association) {
    if (association) {
        return equalityOf(*association);
    }
    return comparesTypesOnly(filter) ? std::uint64_t{filter.getFilterType()} : unknownKind;
}

std::uint64_t routeByKey(const ORVString& keys) {
    return hashKeyORVString(keys);
}

std::uint64_t routeByKeys(const ORVString& one, const ORVString& two) {
    return unordered(hashKeyORVString(one), hashKeyORVString(two));
}

/// A filter with a null class fails when it is asked, so that it has to be.
std::uint64_t routeOf(const Association* filter) {
    if (!filter || filter->classOne().IsNull() || filter->classTwo().IsNull()) {
        return anyIndication;
    }
    const std::optional<ORVString>& one = filter->keysOne();
    const std::optional<ORVString>& two = filter->keysTwo();
    if (one && two) {
        return routeByKeys(*one, *two);
    }
    if (one || two) {
        return routeByKey(one ? *one : *two);
    }
    return anyIndication;
}

template <class Table>
void appendFrom(const Table& table, const typename Table::key_type& key, Places& places) {
    if (const auto found = table.find(key); found != table.end()) {
        places.insert(places.end(), found->second.begin(), found->second.end());
    }
}

bool comesBefore(const Place& left, const Place& right) {
    return left.ordinal < right.ordinal;
}

Places inListOrder(Places places) {
    const auto isSame = [](const Place& left, const Place& right) { return left.ordinal == right.ordinal; };
    std::sort(places.begin(), places.end(), comesBefore);
    places.erase(std::unique(places.begin(), places.end(), isSame), places.end());
    return places;
}

void insertInOrder(Places& places, const Place& place) {
    const auto next = std::lower_bound(places.begin(), places.end(), place, comesBefore);
    if (next == places.end() || next->ordinal != place.ordinal) {
        places.insert(next, place);
    }
}

void eraseFrom(Places& places, const Place& place) noexcept {
    const auto [first, last] = std::equal_range(places.begin(), places.end(), place, comesBefore);
    places.erase(first, last);
}

template <class Table>
void eraseFrom(Table& table, const typename Table::key_type& key, const Place& place) noexcept {
    if (const auto found = table.find(key); found != table.end()) {
        eraseFrom(found->second, place);
        if (found->second.empty()) {
            table.erase(found);
        }
    }
}

}  // namespace

void FilterIndex::add(Position position) {
    Map& map = **position;
    const CCIMOMIndicationFilter& filter = *map.getIndicationFilter();
    const Association* association = knownAssociation(filter);
    const Place place{_nextOrdinal++, position, association};
    _places.emplace(&map, place);
    _byEquality[equalityOf(filter, association)].push_back(place);
    _byRoute[routeOf(association)].push_back(place);
    for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *map.getSubscriberList()) {
        if (const CSubscriberID* id = record->identity()) {
            update(position, *id);
        }
    }
}

void FilterIndex::remove(Position position) noexcept {
    Map& map = **position;
    const auto found = _places.find(&map);
    const Place place = found->second;
    eraseFrom(_byEquality, equalityOf(*map.getIndicationFilter(), place.association), place);
    eraseFrom(_byRoute, routeOf(place.association), place);
    for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *map.getSubscriberList()) {
        if (const CSubscriberID* id = record->identity()) {
            eraseFrom(_bySubscriber, *id, place);
        }
    }
    _places.erase(found);
}

void FilterIndex::update(Position position, const CSubscriberID& id) {
    const Map& map = **position;
    const Place& place = _places.at(&map);
    if (map.hasSubscriber(id)) {
        insertInOrder(_bySubscriber[id], place);
    } else {
        eraseFrom(_bySubscriber, id, place);
    }
}

Places FilterIndex::mayEqual(const CCIMOMIndicationFilter& filter) const {
    Places places;
    appendFrom(_byEquality, filter.getFilterType(), places);
    appendFrom(_byEquality, unknownKind, places);
    if (const auto* association = dynamic_cast<const Association*>(&filter)) {
        appendFrom(_byEquality, equalityOf(*association), places);
    }
    return inListOrder(std::move(places));
}

Places FilterIndex::mayMatch(RoutedIndication& indication) const {
    Places places;
    appendFrom(_byRoute, anyIndication, places);
    if (_byRoute.size() > (places.empty() ? 0U : 1U) && Association::firesOn(indication)) {
        const ORVString& first = indication.end(0).keyProperties;
        const ORVString& second = indication.end(1).keyProperties;
        appendFrom(_byRoute, routeByKeys(first, second), places);
        appendFrom(_byRoute, routeByKey(first), places);
        appendFrom(_byRoute, routeByKey(second), places);
    }
    return inListOrder(std::move(places));
}

Places FilterIndex::mayHave(const CSubscriberID& id) const {
    Places places;
    appendFrom(_bySubscriber, id, places);
    return places;
}

}  // namespace velm
