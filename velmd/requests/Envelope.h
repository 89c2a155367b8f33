#pragma once

#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/OperationResult.h"

#include <string>
#include <string_view>

/// The messages around what an operation answers (DSP0200, DSP0201).
namespace velm {

inline constexpr std::string_view responseContentType = "application/xml; charset=utf-8";

/// The response up to and including the opening of IMETHODRESPONSE or METHODRESPONSE.
std::string responseOpening(const CIMRequest& request);

/// The whole response to an operation that succeeded.
std::string successResponse(const CIMRequest& request, const OperationResult& result);

/// The whole response to one that failed: "CIM_ERR_NOT_FOUND: " and the problem. A number that is no status
/// becomes 1.
std::string errorResponse(const CIMRequest& request, int status, std::string_view problem);

}  // namespace velm
