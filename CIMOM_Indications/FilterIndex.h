#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"
#include "CIMOM_Indications/RoutedIndication.h"
#include "foundation/containers/ORVValSlist.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace velm {

/// Finds the filter maps of a long list that a question is about, so that the cost does not grow with the
/// maps that it is not about. It stands beside the list and answers in list order; whoever asks still asks
/// each map that it names, since it may name too many but misses none.
///
/// Threads: as the list. Failure: std::bad_alloc, where nothing else is said.
class FilterIndex {
public:
    using Map = CCIMOMFilterSubscriberMap;
    using MapList = ORVValSlist<ORVSmrPtr<Map>>;
    using Position = MapList::iterator;

    /// A map in the list. `association` is its filter when that is of a known association kind.
    struct Place {
        std::uint64_t ordinal;
        Position position;
        const CCIMOMAssociationIndicationFilter* association;
    };
    using Places = std::vector<Place>;

    /// Enters the map at the tail of the list, with its subscribers.
    void add(Position position);

    /// Forgets the map, which still stands in the list.
    void remove(Position position) noexcept;

    /// Takes note of what became of a subscriber of the map.
    void update(Position position, const CSubscriberID& id);

    /// The maps whose filter may call itself equal to `filter`.
    Places mayEqual(const CCIMOMIndicationFilter& filter) const;

    /// The maps whose filter may match.
    Places mayMatch(RoutedIndication& indication) const;

    /// The maps that may have the subscriber.
    Places mayHave(const CSubscriberID& id) const;

private:
    using Table = std::unordered_map<std::uint64_t, Places>;

    struct HashOfIdentity {
        std::size_t operator()(const CSubscriberID& id) const noexcept { return hashKeySubscriberID(id); }
    };

    std::uint64_t _nextOrdinal = 0;
    std::unordered_map<const Map*, Place> _places;
    Table _byEquality;
    Table _byRoute;
    std::unordered_map<CSubscriberID, Places, HashOfIdentity> _bySubscriber;
};

}  // namespace velm
