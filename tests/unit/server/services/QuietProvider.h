#pragma once

#include "foundation/services/IProvider.h"

namespace velm::test {

/// Knows nothing and refuses everything.
class QuietProvider : public IProvider {
public:
    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                           IOrvoIndication::IndicationType,
                                           ORVSmrPtr<IOrvoSubscriptionFilter>,
                                           ORVSmrPtr<IOrvoTransaction>) override {
        return {};
    }
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                             IOrvoIndication::IndicationType,
                                             ORVSmrPtr<IOrvoSubscriptionFilter>,
                                             ORVSmrPtr<IOrvoTransaction>) override {
        return {};
    }
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString&, ORVSmrPtr<IOrvoInstanceName>,
                                       ORVSmrPtr<IOrvoTransaction>) override {
        return {};
    }
};

}  // namespace velm::test
