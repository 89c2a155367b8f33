#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

/// What a subscription is interested in: a class and a set of its properties. Used by one thread at a time.
class VELM_EXPORT IOrvoSubscriptionFilter {
public:
    virtual ~IOrvoSubscriptionFilter();

    /// The class that the filter watches; the null string when none was named.
    virtual ORVString getClassName() const = 0;
    virtual void setClassName(const ORVString& className) = 0;

    /// The names of the properties, each once, in order of addition. The list is shared and must not be
    /// changed.
    virtual ORVSmrPtr<ORVValSlist<ORVString>> getProperties() const = 0;

    /// Adds a property unless it is there already, letter case ignored.
    virtual void addProperty(const ORVString& name) = 0;

    /// Whether no property is named. A result filter that is empty says: nothing new, the provider need not
    /// be told.
    virtual bool isEmpty() const = 0;
};
