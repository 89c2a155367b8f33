#include "foundation/cimxml/ORVCIMError.h"

ORVCIMError::ORVCIMError(int code, const ORVString& description)
    : _code(code), _description(description.isNull() ? ORVString::emptyString() : description) {
}

ORVCIMError::~ORVCIMError() = default;
