#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

#include <chrono>

/// One call into a provider, as the provider sees it. Any thread may read it.
class VELM_EXPORT IOrvoTransaction {
public:
    virtual ~IOrvoTransaction();

    virtual ORVString getClassName() const = 0;
    virtual ORVString getMethodName() const = 0;

    /// The time left for the call, zero when it is used up or the caller has released the transaction,
    /// milliseconds::max() when there is no limit. A provider that may take long looks at it; nobody
    /// interrupts a provider.
    virtual std::chrono::milliseconds getTimeLeft() const = 0;

    /// Whether the caller has released the transaction.
    virtual bool isReleased() const = 0;
};
