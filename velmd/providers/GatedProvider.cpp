#include "velmd/providers/GatedProvider.h"

#include "velmd/providers/ProviderException.h"

namespace velm {

GatedProvider::GatedProvider(IProvider& provider, const ORVSmrPtr<IOrvoSubscriber>& gate)
    : _provider(provider), _gate(gate) {
}

GatedProvider::~GatedProvider() = default;

template <class Call>
auto GatedProvider::_counted(const char* operation, Call call) {
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
void GatedProvider::_noteFailure(const char* operation) noexcept {
    try {
        _failures.note(operation, ": " + currentExceptionText());
    } catch (...) {
        // The call is counted; only the text is lost.
    }
}

ORVSmrPtr<IOrvoValue> GatedProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                      IOrvoIndication::IndicationType type,
                                                      ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                      ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted("registerObserver", [&] {
        return _provider.registerObserver(instanceName, _gate, type, filter, transaction);
    });
}

ORVSmrPtr<IOrvoValue> GatedProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                        ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                        IOrvoIndication::IndicationType type,
                                                        ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                        ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted("deregisterObserver", [&] {
        return _provider.deregisterObserver(instanceName, _gate, type, filter, transaction);
    });
}

ORVSmrPtr<IOrvoObject> GatedProvider::getInstance(const ORVString& nameSpace,
                                                  ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                  ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted("getInstance",
                    [&] { return _provider.getInstance(nameSpace, instanceName, transaction); });
}

ORVSmrPtr<ORVValSlist<ORVString>> GatedProvider::getClassNames() {
    return _counted("getClassNames", [&] { return _provider.getClassNames(); });
}

IProvider::InstanceNames GatedProvider::enumerateInstanceNames(const ORVString& nameSpace,
                                                               const ORVString& className,
                                                               ORVSmrPtr<IOrvoTransaction> transaction) {
    return _counted("enumerateInstanceNames",
                    [&] { return _provider.enumerateInstanceNames(nameSpace, className, transaction); });
}

}  // namespace velm
