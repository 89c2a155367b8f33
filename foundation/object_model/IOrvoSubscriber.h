#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"

/// Anything that receives indications: the observer that a provider reports to.
class VELM_EXPORT IOrvoSubscriber {
public:
    IOrvoSubscriber();
    IOrvoSubscriber(const IOrvoSubscriber&) = delete;
    IOrvoSubscriber& operator=(const IOrvoSubscriber&) = delete;
    virtual ~IOrvoSubscriber();

    /// Takes an indication; any number of threads may call at once. What the result says is the subscriber's
    /// business.
    virtual bool notify(ORVSmrPtr<IOrvoIndication> indication) = 0;
};
