#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/utilities/ORVString.h"

/// A CIM instance: class, name and properties. Reading is safe on any number of threads once nobody changes
/// it.
class VELM_EXPORT IOrvoObject {
public:
    virtual ~IOrvoObject();

    /// The null string when the reporter does not know the class.
    virtual ORVString getClassName() const = 0;

    /// A null handle when the object was given no name.
    virtual ORVSmrPtr<IOrvoInstanceName> getInstanceName() const = 0;

    virtual unsigned int getPropertyCount() const = 0;

    /// The property at `position`, from 0. Reference properties stand before all others, each group in the
    /// order of addition, so that positions 0 and 1 of an association are its two ends. Throws
    /// ORVBoundsException.
    virtual ORVSmrPtr<IOrvoProperty> getProperty(unsigned int position) const = 0;

    /// The property with this name, letter case ignored; a null handle when there is none.
    virtual ORVSmrPtr<IOrvoProperty> getProperty(const ORVString& name) const = 0;
};
