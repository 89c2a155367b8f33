#pragma once

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

/// Wants the creation of association instances between two ends; its subscribers receive additions.
class CCIMOMAdditionIndicationFilter : public CCIMOMAssociationIndicationFilter {
public:
    CCIMOMAdditionIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne,
                                   ORVSmrPtr<CCIMOMClass> classTwo, const ORVString& keyPropertiesTwo);
    ~CCIMOMAdditionIndicationFilter() override;
};
