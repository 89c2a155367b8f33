#include "providers/support/Instances.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"

#include <algorithm>
#include <array>
#include <climits>
#include <unistd.h>

namespace velm::providers {

namespace {

bool sameName(const ORVString& left, const ORVString& right) {
    return left.compareTo(right, ORVString::caseInsensitive) == 0;
}

Value keyValue(const InstanceName& name, const char* key) {
    const ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> bindings = name->getKeyBindings();
    for (const COrvoKeyBinding& binding : *bindings) {
        if (sameName(binding.name, key)) {
            return binding.value;
        }
    }
    return nullptr;
}

}  // namespace

Value text(const ORVString& value) {
    return Value(new COrvoValue(value));
}

Value flag(bool value) {
    return Value(new COrvoValue(value));
}

Value number(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type) {
    return Value(new COrvoValue(value, type));
}

Value reference(const InstanceName& name) {
    return Value(new COrvoValue(name));
}

Value array(std::initializer_list<Value> elements, const ORVSmrPtr<IOrvoType>& elementType) {
    COrvoValue::Elements list(new ORVValSlist<Value>);
    for (const Value& element : elements) {
        list->append(element);
    }
    return Value(new COrvoValue(list, elementType));
}

ORVSmrPtr<IOrvoObject> object(const InstanceName& name, const Properties& properties) {
    auto* instance = new COrvoObject(name->getClassName(), name);
    ORVSmrPtr<IOrvoObject> result(instance);
    const ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> keys = name->getKeyBindings();
    for (const COrvoKeyBinding& key : *keys) {
        instance->setProperty(key.name, key.value);
    }
    for (const auto& [property, value] : properties) {
        instance->setProperty(property, value);
    }
    return result;
}

ORVString keyOf(const InstanceName& name, const char* key) {
    const Value value = keyValue(name, key);
    return value.IsNull() ? ORVString() : value->getString();
}

InstanceName referenceIn(const InstanceName& name, const char* key) {
    const Value value = keyValue(name, key);
    return value.IsNull() || !value->getType()->isReference() ? nullptr : value->getReference();
}

bool isSame(const InstanceName& asked, const InstanceName& own) {
    const bool isHere =
        asked->getNameSpace().length() == 0 || sameName(asked->getNameSpace(), own->getNameSpace());
    return isHere && sameName(asked->getClassName(), own->getClassName()) &&
           asked->getKeyProperties() == own->getKeyProperties();
}

bool isOneOf(const ORVString& className, std::initializer_list<const char*> classNames) {
    return std::ranges::any_of(classNames, [&](const char* name) { return sameName(className, name); });
}

ORVString describe(IOrvoIndication::IndicationType type, const InstanceName& name, const char* key) {
    const ORVString what = COrvoDebugTools::indicationTypeToString(type) + " of ";
    if (name->getKeyBindings()->isEmpty()) {
        return what + "every " + name->getClassName();
    }
    const ORVString value = keyOf(name, key);
    return what + name->getClassName() + " '" + (value.isNull() ? name->getKeyProperties() : value) + "'";
}

ORVString computerName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

}  // namespace velm::providers
