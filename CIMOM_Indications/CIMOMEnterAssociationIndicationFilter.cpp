#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"

#include <utility>

CCIMOMEnterAssociationIndicationFilter::CCIMOMEnterAssociationIndicationFilter(
    ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne, ORVSmrPtr<CCIMOMClass> classTwo,
    const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterEnterAssociation;
}

CCIMOMEnterAssociationIndicationFilter::~CCIMOMEnterAssociationIndicationFilter() = default;
