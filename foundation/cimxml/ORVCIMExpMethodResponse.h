#pragma once

#include "foundation/cimxml/ORVCIMError.h"
#include "foundation/cimxml/ORVCIMReturnValue.h"
#include "foundation/handles/ORVSmrPtr.h"

/// EXPMETHODRESPONSE: what the listener made of an export request.
class VELM_EXPORT ORVCIMExpMethodResponse {
public:
    ORVCIMExpMethodResponse(ORVSmrPtr<ORVCIMReturnValue> returnValue, ORVSmrPtr<ORVCIMError> error);
    ~ORVCIMExpMethodResponse();

    /// Null handles when the element is absent.
    ORVSmrPtr<ORVCIMReturnValue> getReturnValue() const { return _returnValue; }
    ORVSmrPtr<ORVCIMError> getError() const { return _error; }

private:
    ORVSmrPtr<ORVCIMReturnValue> _returnValue;
    ORVSmrPtr<ORVCIMError> _error;
};
