#include "providers/support/ChangeInterest.h"

#include <vector>

namespace velm::providers {

namespace {

std::vector<std::string> propertiesOf(const ChangeInterest::Filter& filter) {
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

}  // namespace

void ChangeInterest::add(std::string_view subject, const Filter& filter) {
    for (const std::string& property : propertiesOf(filter)) {
        ++_subjects[std::string(subject)][property];
    }
}

bool ChangeInterest::remove(std::string_view subject, const Filter& filter) {
    const auto found = _subjects.find(subject);
    if (found == _subjects.end()) {
        return false;
    }
    bool removed = false;
    Counts& counts = found->second;
    for (const std::string& property : propertiesOf(filter)) {
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

void ChangeInterest::forget(std::string_view subject) {
    const auto found = _subjects.find(subject);
    if (found != _subjects.end() && subject != everything) {
        _subjects.erase(found);
    }
}

bool ChangeInterest::covers(std::string_view subject) const {
    return _subjects.contains(subject) || _subjects.contains(everything);
}

}  // namespace velm::providers
