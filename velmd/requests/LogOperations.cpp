#include "velmd/requests/LogOperations.h"

#include "Indications/IndicationNotifier.h"
#include "velmd/requests/Parameters.h"

namespace velm {

OperationResult LogOperations::logIndications(const CIMRequest& request) const {
    const Parameters parameters(request, {"On"});
    if (!parameters.has("On")) {
        Parameters::refuse("On", "is missing");
    }
    CIndicationNotifier::logIndications(parameters.boolean("On", false));
    return {};
}

OperationResult LogOperations::placeMarker(const CIMRequest& request) const {
    const Parameters parameters(request, {});
    CIndicationNotifier::placeMarker();
    return {};
}

OperationResult LogOperations::clearIndicationsLog(const CIMRequest& request) const {
    const Parameters parameters(request, {});
    CIndicationNotifier::clearIndicationsLog();
    return {};
}

}  // namespace velm
