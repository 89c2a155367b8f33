#include "foundation/object_model/COrvoObject.h"

#include "foundation/containers/ORVBoundsException.h"
#include "foundation/object_model/COrvoProperty.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"

#include <algorithm>
#include <iterator>
#include <typeinfo>
#include <utility>

namespace {

using Held = COrvoObject::Held;
using Properties = std::vector<Held>;
using PropertyHandle = ORVSmrPtr<IOrvoProperty>;

constexpr std::size_t usualCount = 8;

Properties::const_iterator find(const Properties& properties, const ORVString& name) {
    return std::find_if(properties.begin(), properties.end(),
                        [&name](const Held& held) { return held.name.equalsIgnoringCase(name); });
}

PropertyHandle makeProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value) {
    return PropertyHandle(new COrvoProperty(name, value));
}

PropertyHandle propertyOf(const Held& held) {
    return held.property.IsNull() ? makeProperty(held.name, held.value) : held.property;
}

bool isInstance(const IOrvoType& type) {
    return type.getName() == COrvoType::instance->getName();
}

ORVSmrPtr<IOrvoValue> deepCopy(const ORVSmrPtr<IOrvoValue>& value);

ORVSmrPtr<IOrvoValue> copyOfArray(const IOrvoValue& array) {
    auto originals = array.getElements();
    COrvoValue::Elements elements(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    for (const auto& element : *originals) {
        elements->append(deepCopy(element));
    }
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(elements, COrvoType::instance));
}

/// Only embedded instances can change after they were made; every other value is shared.
ORVSmrPtr<IOrvoValue> deepCopy(const ORVSmrPtr<IOrvoValue>& value) {
    auto type = value->getType();
    if (value->isNull() || !isInstance(*type)) {
        return value;
    }
    if (type->isArray()) {
        return copyOfArray(*value);
    }
    return ORVSmrPtr<IOrvoValue>(
        new COrvoValue(ORVSmrPtr<IOrvoObject>(new COrvoObject(*value->getInstance(), true))));
}

}  // namespace

COrvoObject::COrvoObject(const ORVString& className, const ORVSmrPtr<IOrvoInstanceName>& instanceName)
    : _className(className), _instanceName(instanceName) {
}

COrvoObject::COrvoObject(const IOrvoObject& other, bool deep)
    : _className(other.getClassName()), _instanceName(other.getInstanceName()) {
    if (typeid(other) == typeid(COrvoObject)) {
        const auto& own = static_cast<const COrvoObject&>(other);
        if (!deep || !own._hasInstances) {
            _properties = own._properties;
            _referenceCount = own._referenceCount;
            _hasInstances = own._hasInstances;
            return;
        }
    }
    const unsigned int count = other.getPropertyCount();
    _properties.reserve(count);
    for (unsigned int position = 0; position < count; ++position) {
        auto property = other.getProperty(position);
        auto value = property->getValue();
        setProperty(property->getName(), deep ? deepCopy(value) : value);
    }
}

COrvoObject::~COrvoObject() = default;

void COrvoObject::setProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value) {
    const auto type = value->getType();
    const bool isReference = type->isReference();
    auto offset = std::distance(_properties.cbegin(), find(_properties, name));
    auto position = static_cast<std::size_t>(offset);
    bool isKnown = position < _properties.size();
    const ORVString knownName = isKnown ? _properties[position].name : name;
    Held held{knownName, value, isReference ? makeProperty(knownName, value) : PropertyHandle::none()};
    _hasInstances = _hasInstances || isInstance(*type);
    if (isKnown && isReference == (position < _referenceCount)) {
        _properties[position] = std::move(held);
        return;
    }
    if (_properties.size() == _properties.capacity()) {
        _properties.reserve(std::max<std::size_t>(2 * _properties.size(), usualCount));
    }
    if (isKnown) {
        _properties.erase(_properties.begin() + offset);
        _referenceCount -= isReference ? 0 : 1;
    }
    auto end =
        isReference ? _properties.begin() + static_cast<std::ptrdiff_t>(_referenceCount) : _properties.end();
    _properties.insert(end, std::move(held));
    _referenceCount += isReference ? 1 : 0;
}

ORVString COrvoObject::getClassName() const {
    return _className;
}

ORVSmrPtr<IOrvoInstanceName> COrvoObject::getInstanceName() const {
    return _instanceName;
}

unsigned int COrvoObject::getPropertyCount() const {
    return static_cast<unsigned int>(_properties.size());
}

ORVSmrPtr<IOrvoProperty> COrvoObject::getProperty(unsigned int position) const {
    if (position >= _properties.size()) {
        throw ORVBoundsException();
    }
    return propertyOf(_properties[position]);
}

ORVSmrPtr<IOrvoProperty> COrvoObject::getProperty(const ORVString& name) const {
    auto property = find(_properties, name);
    return property == _properties.end() ? PropertyHandle::none() : propertyOf(*property);
}
