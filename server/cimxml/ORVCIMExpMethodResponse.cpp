#include "foundation/cimxml/ORVCIMExpMethodResponse.h"

#include <utility>

ORVCIMExpMethodResponse::ORVCIMExpMethodResponse(ORVSmrPtr<ORVCIMReturnValue> returnValue,
                                                 ORVSmrPtr<ORVCIMError> error)
    : _returnValue(std::move(returnValue)), _error(std::move(error)) {
}

ORVCIMExpMethodResponse::~ORVCIMExpMethodResponse() = default;
