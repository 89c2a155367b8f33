#pragma once

#include "foundation/services/IProvider.h"
#include "velmd/providers/CallDurations.h"
#include "velmd/providers/FailureRecord.h"
#include "velmd/providers/ObserverTable.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace velm {

/// A loaded provider as the rest of the server sees it: who registers an observer registers the provider's
/// gate, so that nothing reaches the library past it. Everything else is handed on. Calls are counted and
/// timed, and what the provider was asked to watch is noted.
///
/// Threads: any number, as the provider itself. Requires: what the constructor is given outlives it.
class GatedProvider : public IProvider {
public:
    enum class Operation : unsigned char {
        registerObserver,
        deregisterObserver,
        getInstance,
        getClassNames,
        enumerateInstanceNames,
    };
    static constexpr std::array<const char*, 5> operationNames{
        "registerObserver", "deregisterObserver", "getInstance", "getClassNames", "enumerateInstanceNames"};

    /// `observers` takes the registrations that the provider accepts.
    GatedProvider(IProvider& provider, const ORVSmrPtr<IOrvoSubscriber>& gate, ObserverTable& observers);
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
    /// In the order of Operation.
    const auto& durations() const noexcept { return _durations; }

private:
    template <class Call>
    auto _counted(Operation operation, Call call);
    void _noteFailure(Operation operation) noexcept;

    IProvider& _provider;
    const ORVSmrPtr<IOrvoSubscriber> _gate;
    ObserverTable& _observers;
    std::atomic<std::uint64_t> _calls{0};
    std::atomic<std::uint64_t> _failedCalls{0};
    FailureRecord _failures;
    std::array<CallDurations, operationNames.size()> _durations;
};

}  // namespace velm
