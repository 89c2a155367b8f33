#pragma once

#include "foundation/object_model/IOrvoSubscriptionFilter.h"

/// The one implementation of IOrvoSubscriptionFilter.
class VELM_EXPORT COrvoSubscriptionFilter : public IOrvoSubscriptionFilter {
public:
    /// A filter without class and properties.
    COrvoSubscriptionFilter();
    ~COrvoSubscriptionFilter() override;

    ORVString getClassName() const override;
    void setClassName(const ORVString& className) override;
    ORVSmrPtr<ORVValSlist<ORVString>> getProperties() const override;
    void addProperty(const ORVString& name) override;
    bool isEmpty() const override;

private:
    ORVString _className;
    ORVSmrPtr<ORVValSlist<ORVString>> _properties;
};
