#include "CIMOM_Indications/CIMOMLeaveAssociationIndicationFilter.h"

#include <utility>

CCIMOMLeaveAssociationIndicationFilter::CCIMOMLeaveAssociationIndicationFilter(
    ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne, ORVSmrPtr<CCIMOMClass> classTwo,
    const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterLeaveAssociation;
}

CCIMOMLeaveAssociationIndicationFilter::~CCIMOMLeaveAssociationIndicationFilter() = default;
