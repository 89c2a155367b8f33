#include "foundation/object_model/COrvoProperty.h"

COrvoProperty::COrvoProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value)
    : _name(name), _value(value) {
    static_cast<void>(_value.operator->());
}

COrvoProperty::~COrvoProperty() = default;

ORVString COrvoProperty::getName() const {
    return _name;
}

ORVSmrPtr<IOrvoValue> COrvoProperty::getValue() const {
    return _value;
}
