#pragma once

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/ChangeInterest.h"
#include "foundation/services/ProviderEntry.h"

#include <chrono>
#include <condition_variable>
#include <initializer_list>
#include <mutex>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace velm {

/// A provider of one class: what is left to write are the instances, and who reports what happens to them.
///
/// It serves every registration for changes of the class, of those above it and of an instance that is there,
/// and counts them; other kinds of subscription ask providers for nothing that costs something. See
/// docs/providers.md.
///
/// Threads: any, as IProvider says; the operations that a provider overrides must allow for it. Requires: a
/// thread that a provider starts has ended when its destructor returns.
class SimpleProvider : public IProvider {
public:
    using Name = ORVSmrPtr<IOrvoInstanceName>;
    using Object = ORVSmrPtr<IOrvoObject>;
    using Value = ORVSmrPtr<IOrvoValue>;
    using Observer = ORVSmrPtr<IOrvoSubscriber>;
    using Kind = IOrvoIndication::IndicationType;
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
    using Transaction = ORVSmrPtr<IOrvoTransaction>;

    SimpleProvider(const ProviderContext& context, const ORVString& className)
        : _observer(context.observer), _nameSpace(context.nameSpace), _className(className) {}

    /// The names of the instances that are there.
    virtual std::vector<Name> names() = 0;
    /// The instance with this name; a null handle when there is none.
    virtual Object instance(const Name& name) = 0;

    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override { return _listOf<ORVString>({_className}); }
    InstanceNames enumerateInstanceNames(const ORVString&, const ORVString&, Transaction) override {
        return _listOf(names());
    }
    Object getInstance(const ORVString&, Name name, Transaction) override { return instance(name); }
    Value registerObserver(Name name, Observer, Kind kind, Filter filter, Transaction) override {
        const bool isServed =
            kind == IOrvoIndication::IndicationChange && (_isPattern(name) || !instance(name).IsNull());
        if (isServed) {
            const std::lock_guard guard(_lock);
            _interest.add(_subjectOf(name), filter);
            _changed.notify_all();
        }
        return Value(new COrvoValue(isServed));
    }
    Value deregisterObserver(Name name, Observer, Kind kind, Filter filter, Transaction) override {
        const std::lock_guard guard(_lock);
        return Value(new COrvoValue(kind == IOrvoIndication::IndicationChange &&
                                    _interest.remove(_subjectOf(name), filter)));
    }

protected:
    using Properties = std::initializer_list<std::pair<const char*, Value>>;

    /// The name of the instance with this key.
    Name nameOf(const char* key, const ORVString& value) const {
        return Name(new COrvoInstanceName(_nameSpace, _className, key, value));
    }

    /// The instance of this name, with its keys and these properties.
    Object objectOf(const Name& name, Properties properties) const {
        auto* object = new COrvoObject(_className, name);
        const Object result(object);
        const ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> keys = name->getKeyBindings();
        for (const COrvoKeyBinding& key : *keys) {
            object->setProperty(key.name, key.value);
        }
        for (const auto& [property, value] : properties) {
            object->setProperty(property, value);
        }
        return result;
    }

    void reportCreation(const Object& object) const {
        _report(object, IOrvoIndication::IndicationCreation, nullptr);
    }
    /// With the properties as they were last known. Ends the interest in the instance.
    void reportDestruction(const Object& object) {
        _report(object, IOrvoIndication::IndicationDestruction, nullptr);
        const std::lock_guard guard(_lock);
        _interest.forget(_subjectOf(object->getInstanceName()));
    }
    /// `properties` are the names of those that changed.
    void reportChange(const Object& object, const std::vector<ORVString>& properties) const {
        _report(object, IOrvoIndication::IndicationChange, _listOf(properties));
    }

    /// Sleeps while nobody wants to hear of changes. False when it was told to stop.
    bool awaitInterest(const std::stop_token& stop) {
        std::unique_lock lock(_lock);
        return _changed.wait(lock, stop, [this] { return !_interest.isEmpty(); }) && !stop.stop_requested();
    }

    /// Sleeps for this time, or until it is told to stop.
    void pause(const std::stop_token& stop, std::chrono::milliseconds time) {
        std::unique_lock lock(_lock);
        _changed.wait_for(lock, stop, time, [] { return false; });
    }

private:
    template <class T>
    static ORVSmrPtr<ORVValSlist<T>> _listOf(const std::vector<T>& elements) {
        ORVSmrPtr<ORVValSlist<T>> list(new ORVValSlist<T>);
        for (const T& element : elements) {
            list->append(element);
        }
        return list;
    }

    /// A name without keys stands for every instance.
    static bool _isPattern(const Name& name) { return name->getKeyProperties().length() == 0; }
    static std::string _subjectOf(const Name& name) {
        return std::string(_isPattern(name) ? ChangeInterest::everything : name->getKeyProperties().view());
    }

    void _report(const Object& object, Kind kind, const ORVSmrPtr<ORVValSlist<ORVString>>& properties) const {
        _observer->notify(ORVSmrPtr<IOrvoIndication>(new COrvoIndication(
            object, kind, properties, nullptr, IOrvoIndication::IntentReport, nullptr, false)));
    }

    const Observer _observer;
    const ORVString _nameSpace;
    const ORVString _className;
    std::mutex _lock;
    std::condition_variable_any _changed;
    /// Guarded by _lock.
    ChangeInterest _interest;
};

}  // namespace velm
