#pragma once

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoIndicationFilterProcessor.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// A filter processor as plainly as it can be written, and random operations on it and on what counts the
/// same way.
namespace velm::test {

using Kind = IOrvoIndication::IndicationType;

/// What one call answered: the properties of the result filter, in any order, and the count.
struct FilterAnswer {
    std::vector<std::string> properties;
    unsigned int count;

    bool operator==(const FilterAnswer&) const = default;
};

class FilterModel {
public:
    FilterAnswer subscribe(Kind type, const std::vector<std::string>* filter, unsigned int untouched) {
        Wanted& wanted = _wanted[type];
        if (!filter) {
            return {{}, ++wanted.unfiltered};
        }
        FilterAnswer answer{{}, untouched};
        for (const std::string& name : named(*filter)) {
            if (++wanted.properties[name] == 1) {
                answer.properties.push_back(name);
            }
        }
        answer.count = ++wanted.filtered;
        return answer;
    }

    FilterAnswer unsubscribe(Kind type, const std::vector<std::string>* filter, unsigned int untouched) {
        Wanted& wanted = _wanted[type];
        FilterAnswer answer{{}, untouched};
        if (!filter) {
            answer.count = wanted.unfiltered > 0 ? --wanted.unfiltered : untouched;
            return answer;
        }
        bool isKnown = false;
        for (const std::string& name : named(*filter)) {
            const auto found = wanted.properties.find(name);
            isKnown = isKnown || found != wanted.properties.end();
            if (found != wanted.properties.end() && --found->second == 0) {
                answer.properties.push_back(name);
                wanted.properties.erase(found);
            }
        }
        if (isKnown) {
            wanted.filtered = wanted.properties.empty() ? 0 : std::max(wanted.filtered - 1, 1U);
            answer.count = wanted.filtered;
        }
        return answer;
    }

    bool accepts(Kind type, const std::vector<std::string>& changed) const {
        const auto found = _wanted.find(type);
        if (found == _wanted.end()) {
            return false;
        }
        const Wanted& wanted = found->second;
        const bool isAnyNamed = changed.empty() || wanted.properties.contains("*") ||
                                std::any_of(changed.begin(), changed.end(), [&](const std::string& name) {
                                    return wanted.properties.contains(name);
                                });
        return wanted.unfiltered > 0 || (!wanted.properties.empty() && isAnyNamed);
    }

    bool wantsAnything() const {
        return std::any_of(_wanted.begin(), _wanted.end(), [](const auto& entry) {
            return entry.second.unfiltered > 0 || !entry.second.properties.empty();
        });
    }

    unsigned int unfiltered(Kind type) { return _wanted[type].unfiltered; }

    std::vector<std::string> watched(Kind type) {
        std::vector<std::string> names;
        std::transform(_wanted[type].properties.begin(), _wanted[type].properties.end(),
                       std::back_inserter(names), [](const auto& property) { return property.first; });
        return names;
    }

private:
    struct Wanted {
        unsigned int unfiltered = 0;
        unsigned int filtered = 0;
        std::map<std::string, unsigned int> properties;
    };

    static std::vector<std::string> named(const std::vector<std::string>& filter) {
        return filter.empty() ? std::vector<std::string>{"*"} : filter;
    }

    std::map<Kind, Wanted> _wanted;
};

inline ORVSmrPtr<IOrvoSubscriptionFilter> makeFilter(const std::vector<std::string>& properties) {
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    for (const std::string& property : properties) {
        filter->addProperty(std::string_view(property));
    }
    return filter;
}

inline std::vector<std::string> sortedProperties(const IOrvoSubscriptionFilter& filter) {
    const auto list = filter.getProperties();
    std::vector<std::string> names;
    for (const ORVString& name : *list) {
        names.emplace_back(name.view());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// One random operation on `counted`, which has subscribe() and unsubscribe() as the filter processor, and on
/// the model; `properties` are those of the filter, null for none.
template <class Counted>
void checkRandomChange(Counted& counted, FilterModel& model, Kind type,
                       const std::vector<std::string>* properties, bool subscribes) {
    const ORVSmrPtr<IOrvoSubscriptionFilter> filter =
        properties ? makeFilter(*properties) : ORVSmrPtr<IOrvoSubscriptionFilter>();
    const ORVSmrPtr<IOrvoSubscriptionFilter> result(new COrvoSubscriptionFilter);
    constexpr unsigned int untouched = 77'777;
    unsigned int count = untouched;
    if (subscribes) {
        counted.subscribe(type, filter, result, &count);
    } else {
        counted.unsubscribe(type, filter, result, &count);
    }
    FilterAnswer expected = subscribes ? model.subscribe(type, properties, untouched)
                                       : model.unsubscribe(type, properties, untouched);
    std::sort(expected.properties.begin(), expected.properties.end());
    ASSERT_EQ((FilterAnswer{sortedProperties(*result), count}), expected);
}

/// A kind, mostly the first; sometimes one of all nine.
inline Kind randomKind(std::mt19937& random) {
    return static_cast<Kind>(random() % 3 == 0 ? 1U << random() % 9 : 1U);
}

/// A few of five properties.
inline std::vector<std::string> randomProperties(std::mt19937& random) {
    std::vector<std::string> properties;
    for (const char* property : {"age", "name", "owner", "size", "type"}) {
        if (random() % 4 == 0) {
            properties.emplace_back(property);
        }
    }
    return properties;
}

inline ORVSmrPtr<IOrvoIndication> makeChange(Kind type, const std::vector<std::string>& changed) {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    for (const std::string& name : changed) {
        names->append(std::string_view(name));
    }
    return ORVSmrPtr<IOrvoIndication>(
        new COrvoIndication(nullptr, type, names, nullptr, IOrvoIndication::IntentReport, nullptr, false));
}

}  // namespace velm::test
