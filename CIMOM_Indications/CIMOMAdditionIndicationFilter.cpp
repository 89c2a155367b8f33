#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"

#include <utility>

CCIMOMAdditionIndicationFilter::CCIMOMAdditionIndicationFilter(ORVSmrPtr<CCIMOMClass> classOne,
                                                               const ORVString& keyPropertiesOne,
                                                               ORVSmrPtr<CCIMOMClass> classTwo,
                                                               const ORVString& keyPropertiesTwo)
    : CCIMOMAssociationIndicationFilter(std::move(classOne), keyPropertiesOne, std::move(classTwo),
                                        keyPropertiesTwo) {
    _filterType = FilterAddAssociation;
}

CCIMOMAdditionIndicationFilter::~CCIMOMAdditionIndicationFilter() = default;
