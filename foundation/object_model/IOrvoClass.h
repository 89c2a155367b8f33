#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

/// A CIM class as the repository declares it. Immutable once the repository is loaded; any thread may read
/// it.
class VELM_EXPORT IOrvoClass {
public:
    virtual ~IOrvoClass();

    virtual ORVString getName() const = 0;

    /// A null handle for a root class.
    virtual ORVSmrPtr<IOrvoClass> getSuperClass() const = 0;

    /// The direct subclasses in the order of their declaration; a null handle when there are none. The list
    /// is shared and must not be changed.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> getSubClasses() const = 0;

    /// Whether the class, or one above it, carries the qualifier Association.
    virtual bool isAssociation() const = 0;
};
