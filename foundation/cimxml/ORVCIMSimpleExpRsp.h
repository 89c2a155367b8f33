#pragma once

#include "foundation/cimxml/ORVCIMExpMethodResponse.h"
#include "foundation/handles/ORVSmrPtr.h"

/// SIMPLEEXPRSP: the answer to one export request.
class VELM_EXPORT ORVCIMSimpleExpRsp {
public:
    explicit ORVCIMSimpleExpRsp(ORVSmrPtr<ORVCIMExpMethodResponse> methodResponse);
    ~ORVCIMSimpleExpRsp();

    /// A null handle when the element is absent.
    ORVSmrPtr<ORVCIMExpMethodResponse> getMethodResponse() const { return _methodResponse; }

private:
    ORVSmrPtr<ORVCIMExpMethodResponse> _methodResponse;
};
