#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoSubscriber.h"

/// A subscriber that does nothing, for providers that insist on being given one.
///
/// Threads: any. Failure: none.
class CCIMOMProviderSubscriber : public IOrvoSubscriber {
public:
    /// Keeps nothing of `subscriber`: whoever is wrapped here is not to be kept alive by a provider.
    explicit CCIMOMProviderSubscriber(ORVSmrPtr<IOrvoSubscriber> subscriber);
    ~CCIMOMProviderSubscriber() override;

    /// Discards the indication and answers true.
    bool notify(ORVSmrPtr<IOrvoIndication> indication) override;
};
