#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the destruction of association instances that lets one end leave a relationship with the other.
class CCIMOMLeaveRelationshipIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMLeaveRelationshipIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne,
                                            const ORVString& keyPropertiesOne,
                                            ORVSmrPtr<CCIMOMClass> classTwo,
                                            const ORVString& keyPropertiesTwo);
    ~CCIMOMLeaveRelationshipIndicationFilter() override;
};
