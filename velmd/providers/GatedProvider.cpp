#include "velmd/providers/GatedProvider.h"

#include "foundation/object_model/IOrvoType.h"
#include "velmd/providers/ProviderException.h"

#include <chrono>

namespace velm {

namespace {

/// As the library understands an answer.
bool isAcceptance(const ORVSmrPtr<IOrvoValue>& answer) {
    return !answer.IsNull() &&
           answer->getType()->getName().compareTo("boolean", ORVString::caseInsensitive) == 0 &&
           !answer->isNull() && answer->getBoolean();
}

/// Adds the time for which it lives.
class Stopwatch {
public:
    explicit Stopwatch(CallDurations& durations) : _durations(durations) {}
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;
    ~Stopwatch() { _durations.note(Clock::now() - _begin); }

private:
    using Clock = std::chrono::steady_clock;

    CallDurations& _durations;
    const Clock::time_point _begin = Clock::now();
};

}  // namespace

GatedProvider::GatedProvider(IProvider& provider, const ORVSmrPtr<IOrvoSubscriber>& gate,
                             ObserverTable& observers)
    : _provider(provider), _gate(gate), _observers(observers) {
}

GatedProvider::~GatedProvider() = default;

template <class Call>
auto GatedProvider::_counted(Operation operation, Call call) {
    const Stopwatch watch(_durations[static_cast<std::size_t>(operation)]);
    ++_calls;
    try {
        return call();
    } catch (...) {
        ++_failedCalls;
        _noteFailure(operation);
        throw;
    }
}

/// Requires: an exception is being handled.
void GatedProvider::_noteFailure(Operation operation) noexcept {
    try {
        _failures.note(operationNames[static_cast<std::size_t>(operation)], ": " + currentExceptionText());
    } catch (...) {
        // The call is counted; only the text is lost.
    }
}

ORVSmrPtr<IOrvoValue> GatedProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                      IOrvoIndication::IndicationType type,
                                                      ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                      ORVSmrPtr<IOrvoTransaction> transaction) {
    const ORVSmrPtr<IOrvoValue> answer = _counted(Operation::registerObserver, [&] {
        return _provider.registerObserver(instanceName, _gate, type, filter, transaction);
    });
    if (!instanceName.IsNull() && isAcceptance(answer)) {
        _observers.add(*instanceName, type, filter);
    }
    return answer;
}

ORVSmrPtr<IOrvoValue> GatedProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                        ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                        IOrvoIndication::IndicationType type,
                                                        ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                        ORVSmrPtr<IOrvoTransaction> transaction) {
    // Whatever comes of it: nobody asks for this any more.
    if (!instanceName.IsNull()) {
        _observers.remove(*instanceName, type, filter);
    }
    return _counted(Operation::deregisterObserver, [&] {
        return _provider.deregisterObserver(instanceName, _gate, type, filter, transaction);
    });
}

ORVSmrPtr<IOrvoObject> GatedProvider::getInstance(const ORVString& nameSpace,
                                                  ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                  ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted(Operation::getInstance,
                    [&] { return _provider.getInstance(nameSpace, instanceName, transaction); });
}

ORVSmrPtr<ORVValSlist<ORVString>> GatedProvider::getClassNames() {
    return _counted(Operation::getClassNames, [&] { return _provider.getClassNames(); });
}

IProvider::InstanceNames GatedProvider::enumerateInstanceNames(const ORVString& nameSpace,
                                                               const ORVString& className,
                                                               ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted(Operation::enumerateInstanceNames,
                    [&] { return _provider.enumerateInstanceNames(nameSpace, className, transaction); });
}

}  // namespace velm
