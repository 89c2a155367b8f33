#pragma once

#include "foundation/containers/ORVValMap.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "foundation/utilities/ORVString.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace velm {

class IdentityIndex;

/// Which lists of a table each subscriber is in: what spares a removal the walk over the lists of everybody
/// else.
///
/// It keeps the hashes of the keys only. So it may name a list that the subscriber is not in, and whoever
/// asks looks; it never misses one. Threads: as the table that it stands beside. Failure: std::bad_alloc,
/// from add() and keysOf().
class SubscriberPlaces {
public:
    SubscriberPlaces() noexcept;
    ~SubscriberPlaces();
    SubscriberPlaces(const SubscriberPlaces&) = delete;
    SubscriberPlaces& operator=(const SubscriberPlaces&) = delete;

    void add(const CSubscriberID& id, const ORVString& key);

    /// The subscriber is no longer in the list under `key`, which may be gone from `table`.
    template <class V>
    void remove(const CSubscriberID& id, const ORVString& key, const ORVValMap<ORVString, V>& table) {
        // The subscriber may be in the other list of the hash.
        if (!table.sharesHash(key)) {
            _remove(id, hashKeyORVString(key));
        }
    }

    /// The subscriber is in no list any more.
    void forget(const CSubscriberID& id) noexcept;

    /// The keys of the lists in `table` that the subscriber may be in, in its order of iteration.
    template <class V>
    std::vector<ORVString> keysOf(const CSubscriberID& id, const ORVValMap<ORVString, V>& table) const {
        std::vector<std::pair<typename ORVValMap<ORVString, V>::Place, ORVString>> places;
        for (const std::uint32_t hash : _hashesOf(id)) {
            for (ORVString& key : table.keysWithHash(hash)) {
                const auto place = table.placeOf(key);
                places.emplace_back(place, std::move(key));
            }
        }
        std::sort(places.begin(), places.end(),
                  [](const auto& left, const auto& right) { return left.first < right.first; });
        std::vector<ORVString> keys;
        keys.reserve(places.size());
        for (auto& place : places) {
            keys.push_back(std::move(place.second));
        }
        return keys;
    }

private:
    struct Person;

    void _remove(const CSubscriberID& id, std::uint32_t hash) noexcept;
    std::vector<std::uint32_t> _hashesOf(const CSubscriberID& id) const;
    Person* _find(const CSubscriberID& id) const noexcept;
    void _forget(Person* person) noexcept;

    /// Null as long as nobody was added.
    std::unique_ptr<IdentityIndex> _people;
};

}  // namespace velm
