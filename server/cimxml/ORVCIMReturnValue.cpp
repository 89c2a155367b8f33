#include "foundation/cimxml/ORVCIMReturnValue.h"

#include <utility>

ORVCIMReturnValue::ORVCIMReturnValue(ORVSmrPtr<IOrvoValue> value) : _value(std::move(value)) {
}

ORVCIMReturnValue::~ORVCIMReturnValue() = default;
