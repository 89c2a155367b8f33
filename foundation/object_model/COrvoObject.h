#pragma once

#include "foundation/object_model/IOrvoObject.h"

#include <vector>

/// The one implementation of IOrvoObject. Filled by one thread, then shared and only read.
class VELM_EXPORT COrvoObject : public IOrvoObject {
public:
    COrvoObject(const ORVString& className, const ORVSmrPtr<IOrvoInstanceName>& instanceName);

    /// A copy of `other`. With `deep` embedded instances are copied too, otherwise they are shared with
    /// `other`; values, names and properties are immutable and shared.
    COrvoObject(const IOrvoObject& other, bool deep);
    ~COrvoObject() override;

    /// Adds a property, or replaces the value of one with the same name. Throws ORVNullPointerException for a
    /// null `value`.
    void setProperty(const ORVString& name, const ORVSmrPtr<IOrvoValue>& value);

    ORVString getClassName() const override;
    ORVSmrPtr<IOrvoInstanceName> getInstanceName() const override;
    unsigned int getPropertyCount() const override;
    ORVSmrPtr<IOrvoProperty> getProperty(unsigned int position) const override;
    ORVSmrPtr<IOrvoProperty> getProperty(const ORVString& name) const override;

    /// The same as getClassName() and getInstanceName(), lent for as long as this object lives.
    const ORVString& className() const noexcept { return _className; }
    const ORVSmrPtr<IOrvoInstanceName>& instanceName() const noexcept { return _instanceName; }
    /// How many of the properties are references, NULL or not.
    std::size_t referenceCount() const noexcept { return _referenceCount; }

    /// A property as it is kept.
    struct Held {
        ORVString name;
        /// Never null.
        ORVSmrPtr<IOrvoValue> value;
        /// What getProperty() answers: of a reference, which routing asks for again and again. A null handle
        /// for any other property, for which getProperty() makes one.
        ORVSmrPtr<IOrvoProperty> property;
    };

    /// All properties in their order, lent until the object changes.
    const std::vector<Held>& properties() const noexcept { return _properties; }

private:
    ORVString _className;
    ORVSmrPtr<IOrvoInstanceName> _instanceName;
    std::vector<Held> _properties;
    std::size_t _referenceCount = 0;
    /// Whether some property may hold embedded instances, which a deep copy does not share.
    bool _hasInstances = false;
};
