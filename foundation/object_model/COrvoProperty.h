#pragma once

#include "foundation/object_model/IOrvoProperty.h"

/// The one implementation of IOrvoProperty.
class VELM_EXPORT COrvoProperty : public IOrvoProperty {
public:
    /// Throws ORVNullPointerException for a null `value`.
    COrvoProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value);
    ~COrvoProperty() override;

    ORVString getName() const override;
    ORVSmrPtr<IOrvoValue> getValue() const override;

private:
    ORVString _name;
    ORVSmrPtr<IOrvoValue> _value;
};
