#include "velmd/providers/GatedProvider.h"

namespace velm {

GatedProvider::GatedProvider(IProvider& provider, const ORVSmrPtr<IOrvoSubscriber>& gate)
    : _provider(provider), _gate(gate) {
}

GatedProvider::~GatedProvider() = default;

ORVSmrPtr<IOrvoValue> GatedProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                      IOrvoIndication::IndicationType type,
                                                      ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                      ORVSmrPtr<IOrvoTransaction> transaction) {
    return _provider.registerObserver(instanceName, _gate, type, filter, transaction);
}

ORVSmrPtr<IOrvoValue> GatedProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                        ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                        IOrvoIndication::IndicationType type,
                                                        ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                        ORVSmrPtr<IOrvoTransaction> transaction) {
    return _provider.deregisterObserver(instanceName, _gate, type, filter, transaction);
}

ORVSmrPtr<IOrvoObject> GatedProvider::getInstance(const ORVString& nameSpace,
                                                  ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                  ORVSmrPtr<IOrvoTransaction> transaction) {
    return _provider.getInstance(nameSpace, instanceName, transaction);
}

ORVSmrPtr<ORVValSlist<ORVString>> GatedProvider::getClassNames() {
    return _provider.getClassNames();
}

IProvider::InstanceNames GatedProvider::enumerateInstanceNames(const ORVString& nameSpace,
                                                               const ORVString& className,
                                                               ORVSmrPtr<IOrvoTransaction> transaction) {
    return _provider.enumerateInstanceNames(nameSpace, className, transaction);
}

}  // namespace velm
