#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"

CCIMOMCreationIndicationFilter::CCIMOMCreationIndicationFilter() {
    _filterType = FilterEnterAssociation;
}

CCIMOMCreationIndicationFilter::~CCIMOMCreationIndicationFilter() = default;

bool CCIMOMCreationIndicationFilter::match(const ORVSmrPtr<IOrvoIndication>&) {
    return true;
}
