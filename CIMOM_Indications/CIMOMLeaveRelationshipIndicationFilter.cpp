#include "CIMOM_Indications/CIMOMLeaveRelationshipIndicationFilter.h"

#include <utility>

CCIMOMLeaveRelationshipIndicationFilter::CCIMOMLeaveRelationshipIndicationFilter(
    ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne, ORVSmrPtr<CCIMOMClass> classTwo,
    const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterLeaveRelationship;
}

CCIMOMLeaveRelationshipIndicationFilter::~CCIMOMLeaveRelationshipIndicationFilter() = default;
