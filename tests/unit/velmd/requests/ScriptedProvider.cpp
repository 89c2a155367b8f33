#include "tests/unit/velmd/requests/ScriptedProvider.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "velmd/model/CIMName.h"

#include <fmt/format.h>

namespace velm::test {

Value text(const char* value) {
    return Value(new COrvoValue(value));
}

Value number(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type) {
    return Value(new COrvoValue(value, type));
}

Value referenceTo(const Name& name) {
    return Value(new COrvoValue(name));
}

Name named(const char* nameSpace, const char* className, const Members& keys) {
    COrvoInstanceName::KeyBindings bindings;
    for (const auto& [name, value] : keys) {
        bindings.append({name, value});
    }
    return Name(new COrvoInstanceName(nameSpace, className, bindings));
}

Object objectWith(const char* className, const Name& name, const Members& properties) {
    auto* object = new COrvoObject(className, name);
    Object result(object);
    for (const auto& [propertyName, value] : properties) {
        object->setProperty(propertyName, value);
    }
    return result;
}

void ScriptedProvider::add(const char* className, const Object& object) {
    _objects.emplace_back(className, object);
}

std::vector<std::string> ScriptedProvider::calls() const {
    const std::lock_guard guard(_lock);
    return _calls;
}

void ScriptedProvider::_record(const std::string& call) {
    {
        const std::lock_guard guard(_lock);
        _calls.push_back(call);
    }
    if (fault) {
        fault();
    }
}

ORVSmrPtr<IOrvoValue> ScriptedProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName>,
                                                         ORVSmrPtr<IOrvoSubscriber>,
                                                         IOrvoIndication::IndicationType,
                                                         ORVSmrPtr<IOrvoSubscriptionFilter>,
                                                         ORVSmrPtr<IOrvoTransaction>) {
    return Value(new COrvoValue(true));
}

ORVSmrPtr<IOrvoValue> ScriptedProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName>,
                                                           ORVSmrPtr<IOrvoSubscriber>,
                                                           IOrvoIndication::IndicationType,
                                                           ORVSmrPtr<IOrvoSubscriptionFilter>,
                                                           ORVSmrPtr<IOrvoTransaction>) {
    return Value(new COrvoValue(true));
}

ORVSmrPtr<IOrvoObject> ScriptedProvider::getInstance(const ORVString& nameSpace,
                                                     ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                     ORVSmrPtr<IOrvoTransaction>) {
    _record(fmt::format("getInstance {} {}", nameSpace.view(), instanceName->toString().view()));
    if (instead) {
        return instead(instanceName);
    }
    for (const auto& [className, object] : _objects) {
        // As real ones do, whose own spelling may differ.
        if (sameName(object->getInstanceName()->toString().view(), instanceName->toString().view())) {
            return object;
        }
    }
    return {};
}

IProvider::InstanceNames ScriptedProvider::enumerateInstanceNames(const ORVString& nameSpace,
                                                                  const ORVString& className,
                                                                  ORVSmrPtr<IOrvoTransaction>) {
    _record(fmt::format("enumerateInstanceNames {} {}", nameSpace.view(), className.view()));
    if (cannotEnumerate) {
        return {};
    }
    InstanceNames names(new ORVValSlist<Name>);
    for (const auto& [theirClass, object] : _objects) {
        if (sameName(theirClass, className.view())) {
            names->append(object->getInstanceName());
        }
    }
    return names;
}

}  // namespace velm::test
