#include "foundation/object_model/COrvoObject.h"

#include "foundation/containers/ORVBoundsException.h"
#include "foundation/object_model/COrvoProperty.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"

#include <algorithm>
#include <iterator>

namespace {

using Properties = std::vector<ORVSmrPtr<IOrvoProperty>>;

Properties::const_iterator find(const Properties& properties, const ORVString& name) {
    return std::find_if(properties.begin(), properties.end(), [&name](const auto& property) {
        return property->getName().compareTo(name, ORVString::caseInsensitive) == 0;
    });
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
    if (value->isNull() || type->getName() != COrvoType::instance->getName()) {
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
    for (unsigned int position = 0; position < other.getPropertyCount(); ++position) {
        auto property = other.getProperty(position);
        auto value = property->getValue();
        setProperty(property->getName(), deep ? deepCopy(value) : value);
    }
}

COrvoObject::~COrvoObject() = default;

void COrvoObject::setProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value) {
    bool isReference = value->getType()->isReference();
    auto offset = std::distance(_properties.cbegin(), find(_properties, name));
    auto position = static_cast<std::size_t>(offset);
    bool isKnown = position < _properties.size();
    ORVSmrPtr<IOrvoProperty> property(
        new COrvoProperty(isKnown ? _properties[position]->getName() : name, value));
    if (isKnown && isReference == (position < _referenceCount)) {
        _properties[position] = property;
        return;
    }
    _properties.reserve(_properties.size() + 1);
    if (isKnown) {
        _properties.erase(_properties.begin() + offset);
        _referenceCount -= isReference ? 0 : 1;
    }
    auto end =
        isReference ? _properties.begin() + static_cast<std::ptrdiff_t>(_referenceCount) : _properties.end();
    _properties.insert(end, property);
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
    return _properties[position];
}

ORVSmrPtr<IOrvoProperty> COrvoObject::getProperty(const ORVString& name) const {
    auto property = find(_properties, name);
    return property == _properties.end() ? ORVSmrPtr<IOrvoProperty>() : *property;
}
