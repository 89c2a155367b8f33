#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterRelationshipIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveRelationshipIndicationFilter.h"
#include "CIMOM_Indications/CIMOMRemoveIndicationFilter.h"
#include "CIMOM_Indications/RoutedIndication.h"

#include <typeinfo>
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

bool isFor(const ORVSmrPtr<CCIMOMClass>& node, const std::optional<ORVString>& keys,
           const velm::RoutedIndication::End& end) {
    // A filter with a null class fails, whatever its keys. They are looked at before the class, which takes
    // longer.
    CCIMOMClass& wanted = *node.operator->();
    return (!keys || *keys == end.keyProperties) && wanted.isA(end.className);
}

std::optional<ORVString> absentIfNull(const ORVString& text) {
    return text.isNull() ? std::nullopt : std::optional(text);
}

const ORVString* pointerTo(const std::optional<ORVString>& text) {
    return text ? &*text : nullptr;
}

template <class... Kind>
bool isOneOf(const std::type_info& type) {
    return ((type == typeid(Kind)) || ...);
}

}  // namespace

const CCIMOMAssociationIndicationFilter* velm::knownAssociation(
    const CCIMOMIndicationFilter& filter) noexcept {
    using Kind = CCIMOMIndicationFilter::Kind;
    Kind kind = filter._kind.load(std::memory_order_relaxed);
    if (kind == Kind::unasked) {
        kind = isOneOf<CCIMOMAssociationIndicationFilter, CCIMOMAdditionIndicationFilter,
                       CCIMOMRemoveIndicationFilter, CCIMOMEnterAssociationIndicationFilter,
                       CCIMOMLeaveAssociationIndicationFilter, CCIMOMEnterRelationshipIndicationFilter,
                       CCIMOMLeaveRelationshipIndicationFilter>(typeid(filter))
                   ? Kind::association
                   : Kind::other;
        filter._kind.store(kind, std::memory_order_relaxed);
    }
    return kind == Kind::association ? static_cast<const CCIMOMAssociationIndicationFilter*>(&filter)
                                     : nullptr;
}

bool velm::matches(CCIMOMIndicationFilter& filter, RoutedIndication& indication) {
    const CCIMOMAssociationIndicationFilter* association = knownAssociation(filter);
    return association ? association->matches(indication) : filter.match(indication.indication());
}

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
    velm::RoutedIndication routed(indication);
    return matches(routed);
}

bool CCIMOMAssociationIndicationFilter::matches(velm::RoutedIndication& indication) const {
    if ((_filterType & typesFiredBy(indication.type())) == 0 || !indication.isAssociation()) {
        return false;
    }
    const velm::RoutedIndication::End& first = indication.end(0);
    const velm::RoutedIndication::End& second = indication.end(1);
    return (isFor(_classOne, _keyPropertiesOne, first) && isFor(_classTwo, _keyPropertiesTwo, second)) ||
           (isFor(_classOne, _keyPropertiesOne, second) && isFor(_classTwo, _keyPropertiesTwo, first));
}

bool CCIMOMAssociationIndicationFilter::firesOn(velm::RoutedIndication& indication) {
    return typesFiredBy(indication.type()) != 0 && indication.isAssociation();
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
