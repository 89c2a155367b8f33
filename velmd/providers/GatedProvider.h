#pragma once

#include "foundation/services/IProvider.h"
#include "velmd/providers/FailureRecord.h"

#include <atomic>
#include <cstdint>

namespace velm {

/// A loaded provider as the rest of the server sees it: who registers an observer registers the provider's
/// gate, so that nothing reaches the library past it. Everything else is handed on, and counted.
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

    std::uint64_t calls() const noexcept { return _calls; }
    /// Calls that ended in an exception.
    std::uint64_t failedCalls() const noexcept { return _failedCalls; }
    const FailureRecord& failures() const noexcept { return _failures; }

private:
    template <class Call>
    auto _counted(const char* operation, Call call);
    void _noteFailure(const char* operation) noexcept;

    IProvider& _provider;
    const ORVSmrPtr<IOrvoSubscriber> _gate;
    std::atomic<std::uint64_t> _calls{0};
    std::atomic<std::uint64_t> _failedCalls{0};
    FailureRecord _failures;
};

}  // namespace velm
