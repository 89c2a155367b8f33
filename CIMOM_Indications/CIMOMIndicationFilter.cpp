#include "CIMOM_Indications/CIMOMIndicationFilter.h"

CCIMOMIndicationFilter::~CCIMOMIndicationFilter() = default;

bool CCIMOMIndicationFilter::match(const ORVSmrPtr<IOrvoIndication>&) {
    return false;
}

bool CCIMOMIndicationFilter::operator==(const ORVSmrPtr<CCIMOMIndicationFilter>& other) const {
    return other->getFilterType() == _filterType;
}

ORVString CCIMOMIndicationFilter::convertFilterTypeToString(FilterType filterType) {
    switch (filterType) {
        case FilterInvalid:
            return "Invalid";
        case FilterAddAssociation:
            return "Add Assoc";
        case FilterRemoveAssociation:
            return "Remove Assoc";
        case FilterCreate:
            return "Create";
        case FilterDestroy:
            return "Destroy";
        case FilterEnterRelationship:
            return "Enter Rel";
        case FilterLeaveRelationship:
            return "Leave Rel";
        case FilterEnterAssociation:
            return "Enter Assoc";
        case FilterLeaveAssociation:
            return "Leave Assoc";
        case FilterChange:
            break;  // Changes never come through the class tree, so that no table shows this type.
    }
    return ORVString::emptyString();
}
