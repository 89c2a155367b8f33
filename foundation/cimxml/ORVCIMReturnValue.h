#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoValue.h"

/// RETURNVALUE: the value that a method returned.
class VELM_EXPORT ORVCIMReturnValue {
public:
    explicit ORVCIMReturnValue(ORVSmrPtr<IOrvoValue> value);
    ~ORVCIMReturnValue();

    /// A null handle when the element is empty. The type is that of PARAMTYPE or TYPE; a string when neither
    /// is there.
    ORVSmrPtr<IOrvoValue> getValue() const { return _value; }

private:
    ORVSmrPtr<IOrvoValue> _value;
};
