#pragma once

#include "foundation/services/IProvider.h"

namespace velm {

/// A loaded provider as the rest of the server sees it: who registers an observer registers the provider's
/// gate, so that nothing reaches the library past it. Everything else is handed on.
///
/// Threads: any number, as the provider itself. Requires: the provider outlives it.
class GatedProvider : public IProvider {
public:
    GatedProvider(IProvider& provider, const ORVSmrPtr<IOrvoSubscriber>& gate);
    ~GatedProvider() override;

    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                           ORVSmrPtr<IOrvoSubscriber> observer,
                                           IOrvoIndication::IndicationType type,
                                           ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                           ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                             ORVSmrPtr<IOrvoSubscriber> observer,
                                             IOrvoIndication::IndicationType type,
                                             ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                             ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString& nameSpace, ORVSmrPtr<IOrvoInstanceName> instanceName,
                                       ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override;
    InstanceNames enumerateInstanceNames(const ORVString& nameSpace, const ORVString& className,
                                         ORVSmrPtr<IOrvoTransaction> transaction) override;

private:
    IProvider& _provider;
    const ORVSmrPtr<IOrvoSubscriber> _gate;
};

}  // namespace velm
