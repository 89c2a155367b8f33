#include "foundation/object_model/COrvoDebugTools.h"

#include <string>

#include <fmt/format.h>

ORVString COrvoDebugTools::indicationToString(ORVSmrPtr<IOrvoIndication> indication) {
    return indication->toString();
}

ORVString COrvoDebugTools::indicationFilterToString(ORVSmrPtr<IOrvoSubscriptionFilter> filter) {
    if (filter.IsNull()) {
        return "NULL";
    }
    auto properties = filter->getProperties();
    std::string names;
    for (const auto& name : *properties) {
        names += names.empty() ? "" : ", ";
        names += name.view();
    }
    return std::string_view(fmt::format("{}[{}]", filter->getClassName().view(), names));
}

std::string_view COrvoDebugTools::indicationTypeName(IOrvoIndication::IndicationType type) noexcept {
    switch (type) {
        case IOrvoIndication::IndicationInvalid:
            return "Invalid";
        case IOrvoIndication::IndicationChange:
            return "Change";
        case IOrvoIndication::IndicationAddition:
            return "Addition";
        case IOrvoIndication::IndicationRemoval:
            return "Removal";
        case IOrvoIndication::IndicationCreation:
            return "Creation";
        case IOrvoIndication::IndicationDestruction:
            return "Destruction";
        case IOrvoIndication::IndicationEnterRelationship:
            return "EnterRelationship";
        case IOrvoIndication::IndicationLeaveRelationship:
            return "LeaveRelationship";
        case IOrvoIndication::IndicationEnterAssociation:
            return "EnterAssociation";
        case IOrvoIndication::IndicationLeaveAssociation:
            return "LeaveAssociation";
    }
    return {};
}

ORVString COrvoDebugTools::indicationTypeToString(IOrvoIndication::IndicationType type) {
    const std::string_view name = indicationTypeName(type);
    return name.data() ? name
                       : std::string_view(fmt::format("Unknown ({})", static_cast<unsigned int>(type)));
}
