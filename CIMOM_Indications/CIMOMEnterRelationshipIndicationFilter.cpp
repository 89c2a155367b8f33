#include "CIMOM_Indications/CIMOMEnterRelationshipIndicationFilter.h"

#include <utility>

CCIMOMEnterRelationshipIndicationFilter::CCIMOMEnterRelationshipIndicationFilter(
    ORVSmrPtr<CCIMOMClass> classOne, const ORVString& keyPropertiesOne, ORVSmrPtr<CCIMOMClass> classTwo,
    const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterEnterRelationship;
}

CCIMOMEnterRelationshipIndicationFilter::~CCIMOMEnterRelationshipIndicationFilter() = default;
