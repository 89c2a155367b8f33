#pragma once

#include "foundation/object_model/IOrvoClass.h"

/// The class declarations of a CIM server. Any thread may read it.
class VELM_EXPORT IOrvoRepository {
public:
    virtual ~IOrvoRepository();

    /// All classes of `nameSpace` in the order of their declaration; an empty list for a namespace without
    /// classes. The caller owns the list. Throws CIMOMException when the repository cannot be read.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> enumerateClasses(
        const ORVString& nameSpace) const = 0;

    /// The class with this name, letter case ignored; a null handle when there is none.
    virtual ORVSmrPtr<IOrvoClass> getClass(const ORVString& nameSpace, const ORVString& className) const = 0;
};
