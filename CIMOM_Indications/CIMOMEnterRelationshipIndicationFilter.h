#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the creation of association instances that let one end enter a relationship with the other.
class CCIMOMEnterRelationshipIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMEnterRelationshipIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne,
                                            const ORVString& keyPropertiesOne,
                                            ORVSmrPtr<CCIMOMClass> classTwo,
                                            const ORVString& keyPropertiesTwo);
    ~CCIMOMEnterRelationshipIndicationFilter() override;
};
