#include "foundation/cimxml/ORVCIMSimpleExpRsp.h"

#include <utility>

ORVCIMSimpleExpRsp::ORVCIMSimpleExpRsp(ORVSmrPtr<ORVCIMExpMethodResponse> methodResponse)
    : _methodResponse(std::move(methodResponse)) {
}

ORVCIMSimpleExpRsp::~ORVCIMSimpleExpRsp() = default;
