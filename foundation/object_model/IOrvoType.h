#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

/// The type of a CIM value (DSP0004, intrinsic types). Immutable; any thread may read it.
class VELM_EXPORT IOrvoType {
public:
    virtual ~IOrvoType();

    /// The CIM name: "boolean", "string", "char16", "uint8" ... "sint64", "real32", "real64", "datetime",
    /// "reference", and "instance" for an embedded instance. An array has the name of its elements' type.
    virtual ORVString getName() const = 0;
    virtual bool isReference() const = 0;
    virtual bool isArray() const = 0;
};
