#include "CIMOM_Indications/CIMOMRemoveIndicationFilter.h"

#include <utility>

CCIMOMRemoveIndicationFilter::CCIMOMRemoveIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne,
                                                           const ORVString& keyPropertiesOne,
                                                           ORVSmrPtr<CCIMOMClass> classTwo,
                                                           const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterRemoveAssociation;
}

CCIMOMRemoveIndicationFilter::~CCIMOMRemoveIndicationFilter() = default;
