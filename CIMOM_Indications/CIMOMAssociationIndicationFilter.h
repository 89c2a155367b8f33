#pragma once

#include "CIMOM_Indications/CIMOMClass.h"
#include "CIMOM_Indications/CIMOMIndicationFilter.h"
#include "foundation/object_model/IOrvoInstanceName.h"

#include <optional>

namespace velm {
class RoutedIndication;
}

/// Wants the instances of an association that tie together two given ends, in whichever order the association
/// names them. Fires on the creation of such an instance (adding and entering kinds) or on its destruction
/// (removing and leaving kinds), and on nothing else.
///
/// An end is a class of the tree and, if the client named them, key properties in the form of
/// IOrvoInstanceName::getKeyProperties(). An end without key properties stands for every instance of the
/// class and of its subclasses.
///
/// Threads, ownership and failure as the base. An end with a null class handle is accepted and fails, as a
/// null handle does, in match().
class CCIMOMAssociationIndicationFilter : public CCIMOMIndicationFilter {
public:
    /// The null string means that no key properties were named; the empty string is a key string like any
    /// other.
    CCIMOMAssociationIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne,
                                      ORVSmrPtr<CCIMOMClass> classTwo, const ORVString& keyPropertiesTwo);
    ~CCIMOMAssociationIndicationFilter() override;

    /// Requires: the class manager's lock, since the classes' places in the tree are read.
    bool match(const ORVSmrPtr<IOrvoIndication>& indication) override;

    /// As match(), for a caller that has looked at the indication already.
    bool matches(velm::RoutedIndication& indication) const;

    /// Whether some association filter can match `indication`: the creation or the destruction of the
    /// instance of an association.
    static bool firesOn(velm::RoutedIndication& indication);

    /// True for a filter of the same type with the same two ends, straight or crossed. Classes are the same
    /// when they are the same node, whatever their names. False for a filter of the same type that names no
    /// ends.
    bool operator==(const ORVSmrPtr<CCIMOMIndicationFilter>& other) const override;

    /// The ends in place.
    const ORVSmrPtr<CCIMOMClass>& classOne() const noexcept { return _classOne; }
    const ORVSmrPtr<CCIMOMClass>& classTwo() const noexcept { return _classTwo; }
    const std::optional<ORVString>& keysOne() const noexcept { return _keyPropertiesOne; }
    const std::optional<ORVString>& keysTwo() const noexcept { return _keyPropertiesTwo; }

    ORVSmrPtr<CCIMOMClass> getClassOne() const { return _classOne; }
    ORVSmrPtr<CCIMOMClass> getClassTwo() const { return _classTwo; }

    /// The empty, non-null string when none were named.
    ORVString getKeyPropertiesOne() const;
    ORVString getKeyPropertiesTwo() const;

private:
    bool _matchReferencedInstanceName(const ORVSmrPtr<CCIMOMClass>& classA, const ORVString* keyPropertiesA,
                                      const ORVSmrPtr<CCIMOMClass>& classB,
                                      const ORVString* keyPropertiesB) const;

    const ORVSmrPtr<CCIMOMClass> _classOne;
    const std::optional<ORVString> _keyPropertiesOne;
    const ORVSmrPtr<CCIMOMClass> _classTwo;
    const std::optional<ORVString> _keyPropertiesTwo;
};
