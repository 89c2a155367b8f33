#include "Indications/DeliveryRecords.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/services/CIMOMException.h"
#include "foundation/services/CIMOMTransaction.h"
#include "foundation/services/ORVLog.h"

#include <cassert>

namespace {

bool isReference(const ORVSmrPtr<IOrvoValue>& value) {
    return value->getType()->isReference();
}

/// The class that a value names: that of the instance it refers to, or its own text.
ORVString classNameOf(const ORVSmrPtr<IOrvoValue>& value) {
    return isReference(value) ? value->getReference()->getClassName() : value->getString();
}

ORVSmrPtr<IOrvoSubscriptionFilter> filterForClass(const ORVSmrPtr<IOrvoValue>& value) {
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    filter->setClassName(classNameOf(value));
    return filter;
}

/// Anything but a boolean true is a refusal.
bool isAcceptance(const ORVSmrPtr<IOrvoValue>& answer) {
    return !answer.IsNull() &&
           answer->getType()->getName().compareTo("boolean", ORVString::caseInsensitive) == 0 &&
           !answer->isNull() && answer->getBoolean();
}

}  // namespace

template <class Call>
auto CIndicationManager::_callProvider(Call call) {
    _records->countProviderCall();
    try {
        return call();
    } catch (...) {
        _records->countFailedProviderCall();
        throw;
    }
}

template <class Call>
void CIndicationManager::_askProviders(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                       const char* methodName, bool askAll, Call call) {
    assert(!ORVReaderWriterLock::thisThreadHoldsRankedLock() && "providers are never called under a lock");
    const ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> providers =
        _velmServer.getProviders(instanceName);
    if (providers.IsNull()) {
        return;
    }
    bool accepted = false;
    for (const ORVSmrPtr<OrvoProviderInfo>& info : *providers) {
        if (accepted && !askAll) {
            return;
        }
        if (velm::IProvider* provider = info->getProvider()) {
            CIMOMTransaction transaction(*provider, ORVString::emptyString(), instanceName->getClassName(),
                                         methodName, ORVString::emptyString(), ORVString::emptyString(),
                                         _transactionTimeout);
            const ORVSmrPtr<IOrvoValue> answer = call(*provider, transaction);
            transaction.release();
            accepted = isAcceptance(answer) || accepted;
        }
    }
}

void CIndicationManager::_subscribeToProvider(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                              IOrvoIndication::IndicationType indicationType,
                                              ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                              const bool& isClassBased) {
    _askProviders(instanceName, "registerObserver", isClassBased,
                  [&](velm::IProvider& provider, const CIMOMTransaction& transaction) {
                      return _callProvider([&] {
                          return provider.registerObserver(instanceName, _iOrvoSubscriberPtr, indicationType,
                                                           filter, transaction.getTransaction());
                      });
                  });
}

void CIndicationManager::_unsubscribeFromProvider(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                  IOrvoIndication::IndicationType indicationType,
                                                  ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                  const bool& isClassBased) {
    _askProviders(
        instanceName, "deregisterObserver", isClassBased,
        [&](velm::IProvider& provider, const CIMOMTransaction& transaction) -> ORVSmrPtr<IOrvoValue> {
            try {
                return _callProvider([&] {
                    return provider.deregisterObserver(instanceName, _iOrvoSubscriberPtr, indicationType,
                                                       filter, transaction.getTransaction());
                });
            } catch (...) {
                // Nobody waits for this answer; the other providers must still be told.
                return nullptr;
            }
        });
}

void CIndicationManager::_subscribeToProvider(ORVSmrPtr<IOrvoValue>& sourceInstanceName,
                                              ORVSmrPtr<IOrvoValue>& associationinstanceNameLeft,
                                              ORVSmrPtr<IOrvoValue>& associationinstanceNameRight,
                                              IOrvoIndication::IndicationType indicationType) {
    _forwardValues(sourceInstanceName, associationinstanceNameLeft, associationinstanceNameRight,
                   indicationType, &CIndicationManager::_subscribeToProvider);
}

void CIndicationManager::_unsubscribeFromProvider(ORVSmrPtr<IOrvoValue>& sourceInstanceName,
                                                  ORVSmrPtr<IOrvoValue>& associationinstanceNameLeft,
                                                  ORVSmrPtr<IOrvoValue>& associationinstanceNameRight,
                                                  IOrvoIndication::IndicationType indicationType) {
    _forwardValues(sourceInstanceName, associationinstanceNameLeft, associationinstanceNameRight,
                   indicationType, &CIndicationManager::_unsubscribeFromProvider);
}

void CIndicationManager::_forwardValues(ORVSmrPtr<IOrvoValue>& source, ORVSmrPtr<IOrvoValue>& left,
                                        ORVSmrPtr<IOrvoValue>& right,
                                        IOrvoIndication::IndicationType indicationType,
                                        ProviderOperation operation) {
    ORVSmrPtr<IOrvoSubscriptionFilter> filter;
    ORVSmrPtr<IOrvoInstanceName> instanceName;
    switch (indicationType) {
        case IOrvoIndication::IndicationAddition:
        case IOrvoIndication::IndicationRemoval:
        case IOrvoIndication::IndicationEnterRelationship:
        case IOrvoIndication::IndicationLeaveRelationship:
            if (!right.IsNull()) {
                filter = filterForClass(right);
            }
            if (isReference(left)) {
                (this->*operation)(left->getReference(), indicationType, filter, false);
            }
            break;
        case IOrvoIndication::IndicationCreation:
        case IOrvoIndication::IndicationDestruction:
            if (!source.IsNull()) {
                filter = filterForClass(source);
                if (isReference(source)) {
                    instanceName = source->getReference();
                }
            }
            (this->*operation)(instanceName, indicationType, filter, false);
            break;
        default:
            break;  // Nobody produces the other kinds on demand.
    }
}

ORVSmrPtr<IOrvoObject> CIndicationManager::_getInstanceFromProvider(
    const ORVString& nameSpace, ORVSmrPtr<IOrvoInstanceName> instanceName) {
    assert(!ORVReaderWriterLock::thisThreadHoldsRankedLock() && "providers are never called under a lock");
    try {
        const ORVString className = instanceName->getClassName();
        velm::IProvider* provider = _velmServer._selectProvider(nameSpace, className);
        if (!provider) {
            throw CIMOMException("CIndicationManager", "No provider serves the class " + className + ".", 7);
        }
        CIMOMTransaction transaction(*provider, ORVString::emptyString(), className, "getInstance",
                                     ORVString::emptyString(), ORVString::emptyString(), _transactionTimeout);
        const ORVSmrPtr<IOrvoObject> object = _callProvider(
            [&] { return provider->getInstance(nameSpace, instanceName, transaction.getTransaction()); });
        ORVSmrPtr<IOrvoObject> result;
        if (!object.IsNull()) {
            result = new COrvoObject(*object, true);
        }
        transaction.release();
        return result;
    } catch (...) {
        ORVLog::log("CIndicationManager::_getInstanceFromProvider",
                    "Unable to get the provider for the specified className." +
                        (instanceName.IsNull() ? ORVString::emptyString() : instanceName->getClassName()),
                    OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
        return nullptr;
    }
}

ORVSmrPtr<IOrvoObject> CIndicationManager::_getInstanceFromProvider(
    ORVSmrPtr<IOrvoInstanceName> instanceName) {
    return _getInstanceFromProvider("root/kob/velm", instanceName);
}

void CIndicationManager::_throwClassNotFoundException(ORVSmrPtr<IOrvoValue> classInstanceValue) {
    throw CIMOMException("CIndicationManager",
                         "The Class " + classNameOf(classInstanceValue) + " is not a recognized class.", 5);
}
