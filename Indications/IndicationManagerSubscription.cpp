#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterRelationshipIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveRelationshipIndicationFilter.h"
#include "CIMOM_Indications/CIMOMRemoveIndicationFilter.h"
#include "Indications/ClassManagerGuard.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVLockGuard.h"

#include <type_traits>

namespace {

using IndicationFilter = ORVSmrPtr<CCIMOMIndicationFilter>;

/// One end of an association filter: its class node, and its key-properties string when one instance was
/// named.
struct End {
    ORVSmrPtr<CCIMOMClass> node;
    ORVString keyProperties;
};

bool readsFirstEnd(IOrvoIndication::IndicationType type) {
    return type == IOrvoIndication::IndicationAddition || type == IOrvoIndication::IndicationRemoval ||
           type == IOrvoIndication::IndicationEnterRelationship ||
           type == IOrvoIndication::IndicationLeaveRelationship;
}

bool hasEnds(IOrvoIndication::IndicationType type) {
    return readsFirstEnd(type) || type == IOrvoIndication::IndicationEnterAssociation ||
           type == IOrvoIndication::IndicationLeaveAssociation;
}

IndicationFilter makeAssociationFilter(IOrvoIndication::IndicationType type, const End& one, const End& two) {
    const auto make = [&]<class Filter>(std::type_identity<Filter>) {
        return IndicationFilter(new Filter(one.node, one.keyProperties, two.node, two.keyProperties));
    };
    switch (type) {
        case IOrvoIndication::IndicationAddition:
            return make(std::type_identity<CCIMOMAdditionIndicationFilter>());
        case IOrvoIndication::IndicationRemoval:
            return make(std::type_identity<CCIMOMRemoveIndicationFilter>());
        case IOrvoIndication::IndicationEnterRelationship:
            return make(std::type_identity<CCIMOMEnterRelationshipIndicationFilter>());
        case IOrvoIndication::IndicationLeaveRelationship:
            return make(std::type_identity<CCIMOMLeaveRelationshipIndicationFilter>());
        case IOrvoIndication::IndicationEnterAssociation:
            return make(std::type_identity<CCIMOMEnterAssociationIndicationFilter>());
        default:
            return make(std::type_identity<CCIMOMLeaveAssociationIndicationFilter>());
    }
}

/// Filters that hold nothing of their own are shared by all subscriptions, and never destroyed: requests may
/// run while the process ends.
IndicationFilter classFilter(IOrvoIndication::IndicationType type) {
    static const auto& creation = *new IndicationFilter(new CCIMOMCreationIndicationFilter);
    static const auto& destruction = *new IndicationFilter(new CCIMOMDestructionIndicationFilter);
    switch (type) {
        case IOrvoIndication::IndicationCreation:
            return creation;
        case IOrvoIndication::IndicationDestruction:
            return destruction;
        default:
            return nullptr;
    }
}

void logRequest(const ORVSmrPtr<CSubscriberID>& subscriberID, const char* what,
                IOrvoIndication::IndicationType type, const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                const ORVSmrPtr<IOrvoSubscriptionFilter>& filter) {
    CIMUtil::Log("CIndicationManager",
                 "'" + subscriberID->toString() + what + COrvoDebugTools::indicationTypeToString(type) +
                     "' on '" + instanceName->toString() + "' (" +
                     COrvoDebugTools::indicationFilterToString(filter) + ")",
                 OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG);
}

ORVString tableKey(const ORVSmrPtr<IOrvoInstanceName>& instanceName, bool classWide) {
    return classWide ? instanceName->getClassName() : instanceName->toString();
}

}  // namespace

bool CIndicationManager::subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                                   ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                                   IOrvoIndication::IndicationType type, const ORVString& localHostName,
                                   const ORVString& localPortNumber) {
    ORVSmrPtr<IOrvoValue> target = classValue;
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    const ORVSmrPtr<CSubscriber> subscriber =
        _findOrAddSubscriber(subscriberID, localHostName, localPortNumber);
    const bool result = _subscribeUnSubscribe(subscriber, target, endOne, endTwo, type, true);
    if (result) {
        subscriber->record()->noteSubscribed();
    }
    lock.leave();
    if (result) {
        _subscribeToProvider(target, endOne, endTwo, type);
    }
    return result;
}

bool CIndicationManager::unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                                     ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                                     IOrvoIndication::IndicationType type) {
    ORVSmrPtr<IOrvoValue> target = classValue;
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    const ORVSmrPtr<CSubscriber> subscriber = findSubscriber(*subscriberID, true);
    const bool result =
        !subscriber.IsNull() && _subscribeUnSubscribe(subscriber, target, endOne, endTwo, type, false);
    if (result) {
        subscriber->record()->noteUnsubscribed();
    }
    lock.leave();
    if (result) {
        _unsubscribeFromProvider(target, endOne, endTwo, type);
    }
    return result;
}

bool CIndicationManager::_subscribeUnSubscribe(ORVSmrPtr<CSubscriber> subscriber,
                                               ORVSmrPtr<IOrvoValue>& classValue,
                                               ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                                               IOrvoIndication::IndicationType type, bool subscribe) {
    const velm::ClassManagerWriteGuard classManager;
    const auto find = [&](const ORVSmrPtr<IOrvoValue>& value) {
        ORVSmrPtr<CCIMOMClass> node = classManager->lookup(value);
        if (node.IsNull()) {
            _throwClassNotFoundException(value);
        }
        return node;
    };
    const auto findEnd = [&](const ORVSmrPtr<IOrvoValue>& value) {
        End end;
        if (!value.IsNull()) {
            end.node = find(value);
            if (value->getType()->isReference()) {
                end.keyProperties = value->getReference()->getKeyProperties();
            }
        }
        return end;
    };

    const ORVSmrPtr<CCIMOMClass> node =
        classValue.IsNull() ? classManager->lookup(velm::catchAllClassName) : find(classValue);
    if (readsFirstEnd(type) && endOne->getType()->isReference()) {
        classValue = endOne;
    }
    IndicationFilter filter;
    if (hasEnds(type)) {
        const End one = findEnd(endOne);
        const End two = findEnd(endTwo);
        filter = makeAssociationFilter(type, one, two);
    } else {
        filter = classFilter(type);
    }
    if (!subscribe) {
        return node->unsubscribe(filter, subscriber, classValue);
    }
    node->subscribe(filter, subscriber, classValue);
    return true;
}

bool CIndicationManager::subscribe(ORVSmrPtr<CSubscriberID> subscriberID,
                                   ORVSmrPtr<IOrvoInstanceName> instanceName,
                                   ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                   IOrvoIndication::IndicationType type, const ORVString& localHostName,
                                   const ORVString& localPortNumber, const bool& classWide) {
    logRequest(subscriberID, "' subscribed to '", type, instanceName, filter);
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    const ORVSmrPtr<CSubscriber> subscriber =
        _findOrAddSubscriber(subscriberID, localHostName, localPortNumber);
    const ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter(new COrvoSubscriptionFilter);
    unsigned int referenceCount = 0;
    _addToTable(subscriber, instanceName, classWide)
        .subscribe(subscriber, classWide, type, filter, resultFilter, &referenceCount);
    subscriber->record()->noteSubscribed();
    lock.leave();
    if (!filter.IsNull()) {
        if (!resultFilter->isEmpty()) {
            _subscribeToProvider(instanceName, type, resultFilter, classWide);
        }
    } else if (referenceCount == 1) {
        _subscribeToProvider(instanceName, type, filter, classWide);
    }
    return true;
}

bool CIndicationManager::unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID,
                                     ORVSmrPtr<IOrvoInstanceName> instanceName,
                                     ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                     IOrvoIndication::IndicationType type, const bool& classWide) {
    logRequest(subscriberID, "' unsubscribed from '", type, instanceName, filter);
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    _purgeSubscriberTable();
    const ORVString key = tableKey(instanceName, classWide);
    const ORVSmrPtr<CSubscriberList>* filed = _subscriberTable.find(key);
    if (!filed) {
        return false;
    }
    CSubscriberList* const list = filed->Get();
    const ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter(new COrvoSubscriptionFilter);
    unsigned int referenceCount = 1;
    const CSubscriberList::Outcome outcome =
        list->unsubscribe(*subscriberID, type, filter, resultFilter, &referenceCount);
    if (outcome == CSubscriberList::Outcome::noRow) {
        return false;
    }
    if (outcome == CSubscriberList::Outcome::rowRemoved) {
        _updatePlace(key, *list, *subscriberID);
        if (list->isEmpty()) {
            _subscriberTable.remove(key);
        }
    }
    lock.leave();
    if (!filter.IsNull()) {
        if (!resultFilter->isEmpty()) {
            _unsubscribeFromProvider(instanceName, type, resultFilter, classWide);
        }
    } else if (referenceCount == 0) {
        _unsubscribeFromProvider(instanceName, type, filter, classWide);
    }
    return true;
}

ORVSmrPtr<CSubscriber> CIndicationManager::_findOrAddSubscriber(const ORVSmrPtr<CSubscriberID>& subscriberID,
                                                                const ORVString& localHostName,
                                                                const ORVString& localPortNumber) {
    ORVSmrPtr<CSubscriber> subscriber = findSubscriber(*subscriberID, true);
    if (subscriber.IsNull()) {
        subscriber = new CSubscriber(subscriberID, localHostName, localPortNumber, nullptr);
        addSubscriber(subscriber);
    }
    return subscriber;
}

CSubscriberList& CIndicationManager::_addToTable(const ORVSmrPtr<CSubscriber>& subscriber,
                                                 const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                                 bool classWide) {
    const ORVString key = tableKey(instanceName, classWide);
    _purgeSubscriberTable();
    const ORVSmrPtr<CSubscriberList>* list = _subscriberTable.find(key);
    if (!list) {
        _subscriberTable.insert(key, classWide ? ORVSmrPtr<CSubscriberList>::make(instanceName)
                                               : CSubscriberList::ofInstance(instanceName, key));
        _tableNames.add(key);
        list = _subscriberTable.find(key);
    }
    // Before the row: a place too many does no harm.
    _tablePlaces.add(*subscriber->identity(), key);
    return **list;
}

bool CIndicationManager::addSubscriber(ORVSmrPtr<CSubscriber> subscriber) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    try {
        _subscriberIndex.append(_subscribers, subscriber);
        if (!_connectionMonitor->subscriptionChangeOccured()) {
            _subscriberIndex.erase(_subscribers, _subscribers.last());
        }
    } catch (...) {
        const ORVSmrPtr<CSubscriberID> id = subscriber.IsNull() ? nullptr : subscriber->getSubscriberID();
        ORVLog::log("CIndicationManager::addSubscriber",
                    "An unknown exception occured while adding the subscriber '" +
                        (id.IsNull() ? ORVString() : id->toString()) + "'",
                    OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
    return true;
}
