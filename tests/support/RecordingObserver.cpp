#include "tests/support/RecordingObserver.h"

#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoValue.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace velm::test {

std::string Report::className() const {
    return std::string(object->getClassName().view());
}

std::string Report::key(const char* name) const {
    const auto keys = object->getInstanceName()->getKeyBindings();
    for (const COrvoKeyBinding& binding : *keys) {
        if (binding.name == ORVString(name)) {
            return std::string(binding.value->toString().view());
        }
    }
    return {};
}

std::string Report::property(const char* name) const {
    const auto property = object->getProperty(ORVString(name));
    return property.IsNull() ? std::string() : std::string(property->getValue()->toString().view());
}

bool RecordingObserver::notify(ORVSmrPtr<IOrvoIndication> indication) {
    Report report{indication->getType(), indication->getObject(), {}};
    const auto changes = indication->getChangedProperties();
    if (!changes.IsNull()) {
        for (const ORVString& name : *changes) {
            report.changedProperties.emplace_back(name.view());
        }
    }
    std::unique_lock lock(_mutex);
    if (_isHeld) {
        _isHolding = true;
        _changed.notify_all();
        _changed.wait(lock, [this] { return !_isHeld; });
        _isHolding = false;
    }
    if (_fails) {
        throw std::runtime_error("the observer fails");
    }
    _reports.push_back(std::move(report));
    // A waiter is woken for what it waits for only: thousands of reports come in a row.
    if (_wanted && (*_wanted)(_reports.back())) {
        _wanted = nullptr;
        _changed.notify_all();
    }
    return true;
}

RecordingObserver::Reports RecordingObserver::reports() const {
    const std::lock_guard lock(_mutex);
    return _reports;
}

std::size_t RecordingObserver::count() const {
    const std::lock_guard lock(_mutex);
    return _reports.size();
}

void RecordingObserver::clear() {
    const std::lock_guard lock(_mutex);
    _reports.clear();
}

bool RecordingObserver::waitFor(const std::function<bool(const Report&)>& wanted) const {
    std::unique_lock lock(_mutex);
    if (std::ranges::any_of(_reports, std::cref(wanted))) {
        return true;
    }
    _wanted = &wanted;
    const bool hasCome = _changed.wait_for(lock, patience, [this] { return _wanted == nullptr; });
    _wanted = nullptr;
    return hasCome;
}

void RecordingObserver::hold() {
    const std::lock_guard lock(_mutex);
    _isHeld = true;
}

void RecordingObserver::release() {
    const std::lock_guard lock(_mutex);
    _isHeld = false;
    _changed.notify_all();
}

bool RecordingObserver::waitUntilHolding() const {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, patience, [this] { return _isHolding; });
}

void RecordingObserver::fail(bool fails) {
    const std::lock_guard lock(_mutex);
    _fails = fails;
}

}  // namespace velm::test
