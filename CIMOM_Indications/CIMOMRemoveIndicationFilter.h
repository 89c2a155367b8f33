#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the destruction of association instances between two ends; its subscribers receive removals.
class CCIMOMRemoveIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMRemoveIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne,
                                 ORVSmrPtr<CCIMOMClass> classTwo, const ORVString& keyPropertiesTwo);
    ~CCIMOMRemoveIndicationFilter() override;
};
