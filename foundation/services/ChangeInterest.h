#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"
#include "foundation/utilities/ORVString.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// Counts for which subjects a provider was asked to report changes.
///
/// Who asks twice with different properties may take them back with one call, so each property is counted on
/// its own, and a null filter as one more. Not synchronised.
class ChangeInterest {
public:
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;

    /// Stands for every subject.
    static constexpr std::string_view everything = "";

    void add(std::string_view subject, const Filter& filter) {
        for (const std::string& property : _propertiesOf(filter)) {
            ++_subjects[std::string(subject)][property];
        }
    }

    /// Answers whether any of it had been added.
    bool remove(std::string_view subject, const Filter& filter) {
        const auto found = _subjects.find(subject);
        bool removed = false;
        if (found == _subjects.end()) {
            return removed;
        }
        Counts& counts = found->second;
        for (const std::string& property : _propertiesOf(filter)) {
            const auto count = counts.find(property);
            if (count != counts.end()) {
                removed = true;
                if (--count->second == 0) {
                    counts.erase(count);
                }
            }
        }
        if (counts.empty()) {
            _subjects.erase(found);
        }
        return removed;
    }

    /// Drops what was added for `subject` alone.
    void forget(std::string_view subject) {
        const auto found = _subjects.find(subject);
        if (found != _subjects.end() && subject != everything) {
            _subjects.erase(found);
        }
    }

    /// Whether somebody asked for `subject`, or for everything.
    bool covers(std::string_view subject) const {
        return _subjects.contains(subject) || _subjects.contains(everything);
    }
    bool isEmpty() const { return _subjects.empty(); }

private:
    /// By property in lower case; the empty name stands for a null filter.
    using Counts = std::map<std::string, unsigned int, std::less<>>;

    static std::vector<std::string> _propertiesOf(const Filter& filter) {
        if (filter.IsNull()) {
            return {""};
        }
        std::vector<std::string> names;
        const ORVSmrPtr<ORVValSlist<ORVString>> properties = filter->getProperties();
        for (const ORVString& property : *properties) {
            names.emplace_back(property.toLower().view());
        }
        return names;
    }

    std::map<std::string, Counts, std::less<>> _subjects;
};

}  // namespace velm
