#pragma once

#include "CIMOM_Indications/CIMOMIndicationFilter.h"
#include "foundation/subscribers/CSubscriber.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace velm::test {

/// A filter list that walks: what the list must not differ from, whatever it keeps.
class WalkedFilterList {
public:
    using Filter = ORVSmrPtr<CCIMOMIndicationFilter>;
    using Subscriber = ORVSmrPtr<CSubscriber>;
    using Indication = ORVSmrPtr<IOrvoIndication>;
    using Deliveries = std::map<const CSubscriber*, std::vector<IOrvoIndication::IndicationType>>;

    struct Map {
        Filter filter;
        std::vector<std::pair<Subscriber, unsigned int>> subscribers;
    };

    void subscribe(const Filter& filter, const Subscriber& subscriber) {
        bool found = false;
        for (Map& map : maps) {
            if (*map.filter == filter) {
                found = true;
                const auto record = _recordOf(map, subscriber);
                if (record == map.subscribers.end()) {
                    map.subscribers.emplace_back(subscriber, 1);
                } else {
                    ++record->second;
                }
            }
        }
        if (!found) {
            maps.push_back({filter, {{subscriber, 1}}});
        }
    }

    bool unsubscribe(const Filter& filter, const Subscriber& subscriber) {
        const auto map =
            std::find_if(maps.begin(), maps.end(), [&](const Map& held) { return *held.filter == filter; });
        if (map == maps.end()) {
            return false;
        }
        const auto record = _recordOf(*map, subscriber);
        if (record == map->subscribers.end()) {
            return false;
        }
        if (--record->second == 0) {
            map->subscribers.erase(record);
        }
        if (map->subscribers.empty()) {
            maps.erase(map);
        }
        return true;
    }

    /// Answers the filters of the maps that are empty then.
    std::vector<const CCIMOMIndicationFilter*> removeSubscriber(const CSubscriberID& id) {
        std::vector<const CCIMOMIndicationFilter*> emptied;
        for (Map& map : maps) {
            const auto record =
                std::find_if(map.subscribers.begin(), map.subscribers.end(),
                             [&](const auto& held) { return *held.first->getSubscriberID() == id; });
            if (record != map.subscribers.end()) {
                map.subscribers.erase(record);
            }
            if (map.subscribers.empty()) {
                emptied.push_back(map.filter.Get());
            }
        }
        std::erase_if(maps, [](const Map& map) { return map.subscribers.empty(); });
        return emptied;
    }

    Deliveries notify(const Indication& indication) {
        Deliveries deliveries;
        for (Map& map : maps) {
            if (map.filter->match(indication)) {
                for (const auto& [subscriber, count] : map.subscribers) {
                    deliveries[subscriber.Get()].push_back(
                        static_cast<IOrvoIndication::IndicationType>(map.filter->getFilterType()));
                }
            }
        }
        return deliveries;
    }

    std::vector<Map> maps;

private:
    static std::vector<std::pair<Subscriber, unsigned int>>::iterator _recordOf(
        Map& map, const Subscriber& subscriber) {
        return std::find_if(map.subscribers.begin(), map.subscribers.end(),
                            [&](const auto& held) { return held.first == subscriber; });
    }
};

}  // namespace velm::test
