#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/utilities/ORVString.h"

/// A property of a CIM object: a name and a value. Immutable; any thread may read it.
class VELM_EXPORT IOrvoProperty {
public:
    virtual ~IOrvoProperty();

    virtual ORVString getName() const = 0;

    /// Never a null handle; a property without a value holds a NULL value of its type.
    virtual ORVSmrPtr<IOrvoValue> getValue() const = 0;
};
