#pragma once

#include "foundation/services/ProviderEntry.h"

/// What a provider must have, doing nothing.
class SilentProvider : public velm::IProvider {
public:
    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName> /*instanceName*/,
                                           ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                           IOrvoIndication::IndicationType /*type*/,
                                           ORVSmrPtr<IOrvoSubscriptionFilter> /*filter*/,
                                           ORVSmrPtr<IOrvoTransaction> /*transaction*/) override {
        return nullptr;
    }
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName> /*instanceName*/,
                                             ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                             IOrvoIndication::IndicationType /*type*/,
                                             ORVSmrPtr<IOrvoSubscriptionFilter> /*filter*/,
                                             ORVSmrPtr<IOrvoTransaction> /*transaction*/) override {
        return nullptr;
    }
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString& /*nameSpace*/,
                                       ORVSmrPtr<IOrvoInstanceName> /*instanceName*/,
                                       ORVSmrPtr<IOrvoTransaction> /*transaction*/) override {
        return nullptr;
    }
};
