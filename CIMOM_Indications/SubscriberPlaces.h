#pragma once

#include "foundation/containers/ORVValMap.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "foundation/utilities/ORVString.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace velm {

/// Which lists of a table each subscriber is in, by the keys of the lists: what spares a removal the walk
/// over the lists of everybody else.
///
/// It may name a list that is gone, or one that the subscriber is no longer in; it never misses one. Threads:
/// as the table that it stands beside. Failure: std::bad_alloc, from add() and take().
class SubscriberPlaces {
public:
    SubscriberPlaces() noexcept;
    ~SubscriberPlaces();
    SubscriberPlaces(const SubscriberPlaces&) = delete;
    SubscriberPlaces& operator=(const SubscriberPlaces&) = delete;

    void add(const CSubscriberID& id, const ORVString& key);
    void remove(const CSubscriberID& id, const ORVString& key) noexcept;

    /// The lists of the subscriber that are in `table`, in its order of iteration; forgets the subscriber.
    template <class V>
    std::vector<ORVString> take(const CSubscriberID& id, const ORVValMap<ORVString, V>& table) {
        std::vector<ORVString> keys = _take(id);
        std::erase_if(keys, [&](const ORVString& key) { return !table.find(key); });
        std::vector<std::pair<typename ORVValMap<ORVString, V>::Place, ORVString>> places;
        places.reserve(keys.size());
        for (ORVString& key : keys) {
            const auto place = table.placeOf(key);
            places.emplace_back(place, std::move(key));
        }
        std::sort(places.begin(), places.end(),
                  [](const auto& left, const auto& right) { return left.first < right.first; });
        std::transform(places.begin(), places.end(), keys.begin(),
                       [](auto& place) { return std::move(place.second); });
        return keys;
    }

private:
    struct Table;

    std::vector<ORVString> _take(const CSubscriberID& id);

    std::unique_ptr<Table> _table;
};

}  // namespace velm
