#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

#include "foundation/object_model/COrvoHelper.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/object_model/IOrvoValue.h"

#include <utility>

namespace {

using Filter = CCIMOMIndicationFilter;

/// The filter types that fire on an indication of this type, as a mask.
unsigned int typesFiredBy(IOrvoIndication::IndicationType type) {
    switch (type) {
        case IOrvoIndication::IndicationCreation:
            return Filter::FilterAddAssociation | Filter::FilterCreate | Filter::FilterEnterRelationship |
                   Filter::FilterEnterAssociation;
        case IOrvoIndication::IndicationDestruction:
            return Filter::FilterRemoveAssociation | Filter::FilterDestroy | Filter::FilterLeaveRelationship |
                   Filter::FilterLeaveAssociation;
        default:
            return 0;
    }
}

ORVSmrPtr<IOrvoInstanceName> referenceAt(const IOrvoObject& association, unsigned int position) {
    return association.getProperty(position)->getValue()->getReference();
}

std::optional<ORVString> absentIfNull(const ORVString& text) {
    return text.isNull() ? std::nullopt : std::optional(text);
}

const ORVString* pointerTo(const std::optional<ORVString>& text) {
    return text ? &*text : nullptr;
}

}  // namespace

CCIMOMAssociationIndicationFilter::CCIMOMAssociationIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne,
                                                                     const ORVString& keyPropertiesOne,
                                                                     ORVSmrPtr<CCIMOMClass> classTwo,
                                                                     const ORVString& keyPropertiesTwo)
    : _classOne(std::move(classOne)),
      _keyPropertiesOne(absentIfNull(keyPropertiesOne)),
      _classTwo(std::move(classTwo)),
      _keyPropertiesTwo(absentIfNull(keyPropertiesTwo)) {
}

CCIMOMAssociationIndicationFilter::~CCIMOMAssociationIndicationFilter() = default;

bool CCIMOMAssociationIndicationFilter::match(const ORVSmrPtr<IOrvoIndication>& indication) {
    if ((_filterType & typesFiredBy(indication->getType())) == 0) {
        return false;
    }
    const ORVSmrPtr<IOrvoObject> object = indication->getObject();
    if (!COrvoHelper::isAssociation(object)) {
        return false;
    }
    const ORVSmrPtr<IOrvoInstanceName> first = referenceAt(*object, 0);
    const ORVSmrPtr<IOrvoInstanceName> second = referenceAt(*object, 1);
    const ORVString firstKeys = first->getKeyProperties();
    const ORVString secondKeys = second->getKeyProperties();

    const ORVString* keysOne = pointerTo(_keyPropertiesOne);
    const ORVString* keysTwo = pointerTo(_keyPropertiesTwo);
    return (_matchIndicationInstance(_classOne, keysOne, first, &firstKeys) &&
            _matchIndicationInstance(_classTwo, keysTwo, second, &secondKeys)) ||
           (_matchIndicationInstance(_classOne, keysOne, second, &secondKeys) &&
            _matchIndicationInstance(_classTwo, keysTwo, first, &firstKeys));
}

bool CCIMOMAssociationIndicationFilter::operator==(const ORVSmrPtr<CCIMOMIndicationFilter>& other) const {
    if (other->getFilterType() != _filterType) {
        return false;
    }
    // Creation and destruction filters share a type with the entering kind, but name no ends.
    const auto* association = dynamic_cast<const CCIMOMAssociationIndicationFilter*>(other.Get());
    if (!association) {
        return false;
    }
    const ORVString* keysOne = pointerTo(_keyPropertiesOne);
    const ORVString* keysTwo = pointerTo(_keyPropertiesTwo);
    const ORVString* otherKeysOne = pointerTo(association->_keyPropertiesOne);
    const ORVString* otherKeysTwo = pointerTo(association->_keyPropertiesTwo);
    return (_matchReferencedInstanceName(_classOne, keysOne, association->_classOne, otherKeysOne) &&
            _matchReferencedInstanceName(_classTwo, keysTwo, association->_classTwo, otherKeysTwo)) ||
           (_matchReferencedInstanceName(_classOne, keysOne, association->_classTwo, otherKeysTwo) &&
            _matchReferencedInstanceName(_classTwo, keysTwo, association->_classOne, otherKeysOne));
}

ORVString CCIMOMAssociationIndicationFilter::getKeyPropertiesOne() const {
    return _keyPropertiesOne.value_or(ORVString::emptyString());
}

ORVString CCIMOMAssociationIndicationFilter::getKeyPropertiesTwo() const {
    return _keyPropertiesTwo.value_or(ORVString::emptyString());
}

bool CCIMOMAssociationIndicationFilter::_matchReferencedInstanceName(const ORVSmrPtr<CCIMOMClass>& classA,
                                                                     const ORVString* keyPropertiesA,
                                                                     const ORVSmrPtr<CCIMOMClass>& classB,
                                                                     const ORVString* keyPropertiesB) const {
    if (classA != classB) {
        return false;
    }
    if (!keyPropertiesA || !keyPropertiesB) {
        return keyPropertiesA == keyPropertiesB;
    }
    return *keyPropertiesA == *keyPropertiesB;
}

bool CCIMOMAssociationIndicationFilter::_matchIndicationInstance(
    const ORVSmrPtr<CCIMOMClass>& filterClass, const ORVString* filterKeyProperties,
    const ORVSmrPtr<IOrvoInstanceName>& reference, const ORVString* referenceKeyProperties) const {
    if (!filterClass->isA(reference->getClassName())) {
        return false;
    }
    if (!filterKeyProperties) {
        return true;
    }
    return referenceKeyProperties && *filterKeyProperties == *referenceKeyProperties;
}
