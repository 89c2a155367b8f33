#include "velmd/providers/ObserverTable.h"

#include "velmd/model/CIMName.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace velm {

namespace {

int folded(char character) noexcept {
    return character >= 'A' && character <= 'Z' ? character + ('a' - 'A') : character;
}

}  // namespace

bool ObserverTable::ByName::operator()(std::string_view left, std::string_view right) const noexcept {
    return std::ranges::lexicographical_compare(left, right, {}, &folded, &folded);
}

ObserverTable::Key ObserverTable::_keyOf(const IOrvoInstanceName& name, Type type, const Filter& filter) {
    const bool isInstance = name.getKeyProperties().length() > 0;
    const ORVString subject = isInstance ? name.toString() : name.getClassName();
    const ORVString otherClass = filter.IsNull() ? ORVString() : filter->getClassName();
    return {isInstance, std::string(subject.view()), type, std::string(otherClass.view())};
}

ObserverTable::Names ObserverTable::_propertiesOf(const Filter& filter) {
    Names names;
    if (!filter.IsNull()) {
        const ORVSmrPtr<ORVValSlist<ORVString>> properties = filter->getProperties();
        for (const ORVString& property : *properties) {
            names.emplace_back(property.view() == "*" ? std::string_view() : property.view());
        }
    }
    return names.empty() ? Names{""} : names;
}

void ObserverTable::add(const IOrvoInstanceName& name, Type type, const Filter& filter) noexcept {
    try {
        Key key = _keyOf(name, type, filter);
        const Names properties = _propertiesOf(filter);
        const std::lock_guard guard(_lock);
        _add(std::move(key), properties);
    } catch (...) {
    }
}

void ObserverTable::_add(Key key, const Names& properties) {
    auto found = _entries.find(key);
    if (found == _entries.end()) {
        if (key.isInstance && _instances == mostInstances) {
            _unnamed[_numberOf(key.subject)] += properties.size();
            return;
        }
        _instances += key.isInstance ? 1 : 0;
        found = _entries.emplace(std::move(key), Entry{std::chrono::system_clock::now(), {}}).first;
    }
    for (const std::string& property : properties) {
        ++found->second.properties[property];
    }
}

void ObserverTable::remove(const IOrvoInstanceName& name, Type type, const Filter& filter) noexcept {
    try {
        const Key key = _keyOf(name, type, filter);
        const Names properties = _propertiesOf(filter);
        const std::lock_guard guard(_lock);
        const auto found = _entries.find(key);
        if (found == _entries.end()) {
            _removeUnnamed(key.subject, properties.size());
            return;
        }
        auto& counts = found->second.properties;
        for (const std::string& property : properties) {
            const auto count = counts.find(property);
            if (count != counts.end() && --count->second == 0) {
                counts.erase(count);
            }
        }
        if (counts.empty()) {
            _erase(found);
        }
    } catch (...) {
    }
}

void ObserverTable::_removeUnnamed(const std::string& subject, std::size_t count) {
    const auto found = _unnamed.find(_numberOf(subject));
    if (found == _unnamed.end()) {
        return;
    }
    found->second -= std::min(found->second, count);
    if (found->second == 0) {
        _unnamed.erase(found);
    }
}

ObserverTable::Entries::iterator ObserverTable::_erase(Entries::iterator entry) {
    _instances -= entry->first.isInstance ? 1 : 0;
    return _entries.erase(entry);
}

void ObserverTable::forget(const IOrvoInstanceName& name) noexcept {
    try {
        const Key key = _keyOf(name, IOrvoIndication::IndicationInvalid, nullptr);
        const std::lock_guard guard(_lock);
        for (auto entry = _entries.lower_bound(key);
             entry != _entries.end() && entry->first.isInstance && entry->first.subject == key.subject;) {
            entry = _erase(entry);
        }
        _unnamed.erase(_numberOf(key.subject));
    } catch (...) {
    }
}

std::size_t ObserverTable::size() const {
    const std::lock_guard guard(_lock);
    return _entries.size() + _unnamed.size();
}

std::vector<ObserverTable::Observer> ObserverTable::first(std::size_t most) const {
    std::vector<Observer> observers;
    const std::lock_guard guard(_lock);
    for (const auto& [key, entry] : _entries) {
        if (observers.size() == most) {
            break;
        }
        observers.push_back({key.subject, key.isInstance, key.type, key.otherClass, {}, entry.since});
        if (!entry.properties.contains("")) {
            for (const auto& [property, count] : entry.properties) {
                observers.back().properties.push_back(property);
            }
        }
    }
    return observers;
}

}  // namespace velm
