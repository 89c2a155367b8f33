#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the creation of association instances that let one end enter an association with the other.
class CCIMOMEnterAssociationIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMEnterAssociationIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne,
                                           ORVSmrPtr<CCIMOMClass> classTwo,
                                           const ORVString& keyPropertiesTwo);
    ~CCIMOMEnterAssociationIndicationFilter() override;
};
