#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"

CCIMOMDestructionIndicationFilter::CCIMOMDestructionIndicationFilter() {
    _filterType = FilterEnterAssociation;
}

CCIMOMDestructionIndicationFilter::~CCIMOMDestructionIndicationFilter() = default;

bool CCIMOMDestructionIndicationFilter::match(const ORVSmrPtr<IOrvoIndication>&) {
    return true;
}
