#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/services/IOrvoTransaction.h"

namespace velm {

/// A provider: whoever knows the instances of some classes and reports what happens to them.
///
/// Threads: every operation may be called on any thread, several at once. No lock of the indication subsystem
/// is held during a call, so a provider may report indications from inside it. Failure: a provider may throw
/// anything; an exception from registerObserver reaches the client that subscribes, one from
/// deregisterObserver is dropped.
class VELM_EXPORT IProvider {
public:
    IProvider();
    IProvider(const IProvider&) = delete;
    IProvider& operator=(const IProvider&) = delete;
    virtual ~IProvider();

    /// Starts producing indications of `type` for `instanceName`. The provider keeps `observer` and reports
    /// to it. `filter` (null for everything) names the properties, or the class, of interest. Accepts by
    /// returning boolean true; anything else, a null handle included, is a refusal.
    virtual ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                   ORVSmrPtr<IOrvoSubscriber> observer,
                                                   IOrvoIndication::IndicationType type,
                                                   ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                   ORVSmrPtr<IOrvoTransaction> transaction) = 0;

    /// Stops producing what registerObserver with the same arguments started. Answers as that one.
    virtual ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                     ORVSmrPtr<IOrvoSubscriber> observer,
                                                     IOrvoIndication::IndicationType type,
                                                     ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                     ORVSmrPtr<IOrvoTransaction> transaction) = 0;

    /// The instance with this name; a null handle when there is none.
    virtual ORVSmrPtr<IOrvoObject> getInstance(const ORVString& nameSpace,
                                               ORVSmrPtr<IOrvoInstanceName> instanceName,
                                               ORVSmrPtr<IOrvoTransaction> transaction) = 0;

    using InstanceNames = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoInstanceName>>>;

    /// The classes whose instances the provider knows, subclasses not included; asked once, when it is
    /// loaded. The list is the caller's. An empty one, the default, leaves it to the host to find out.
    virtual ORVSmrPtr<ORVValSlist<ORVString>> getClassNames();

    /// The names of the present instances of `className`, which is one of getClassNames(). The list is the
    /// caller's. A null handle, the default, says that the provider cannot enumerate.
    virtual InstanceNames enumerateInstanceNames(const ORVString& nameSpace, const ORVString& className,
                                                 ORVSmrPtr<IOrvoTransaction> transaction);
};

}  // namespace velm
