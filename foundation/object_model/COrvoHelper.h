#pragma once

#include "foundation/object_model/IOrvoObject.h"

/// Questions about CIM objects.
class VELM_EXPORT COrvoHelper {
public:
    /// Whether `object` is the instance of an association: its first two properties are references that are
    /// not NULL. Throws ORVNullPointerException for a null handle.
    static bool isAssociation(ORVSmrPtr<IOrvoObject> object);
};
