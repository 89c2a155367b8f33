#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the destruction of association instances that lets one end leave an association with the other.
class CCIMOMLeaveAssociationIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMLeaveAssociationIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne,
                                           ORVSmrPtr<CCIMOMClass> classTwo,
                                           const ORVString& keyPropertiesTwo);
    ~CCIMOMLeaveAssociationIndicationFilter() override;
};
