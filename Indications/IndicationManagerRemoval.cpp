#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"
#include "Indications/ClassManagerGuard.h"
#include "Indications/DeliveryRecords.h"
#include "Indications/IndicationManager.h"
#include "Indications/RemovalCause.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVLockGuard.h"

#include <algorithm>
#include <iterator>

namespace {

void logError(const char* component, const ORVString& message) {
    ORVLog::log(component, message, OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0,
                ORVLog::CIMOMLOG);
}

void traceError(const ORVString& message) {
    CIMUtil::Log("CIndicationManager", message, OrvoTraceLog::SeverityError, ORVLog::CIMOMLOG);
}

void logRemovalFailure(const CSubscriberID& subscriberID) {
    logError("CIndicationManager::removeSubscriber",
             "An unknown exception occured while removing the subscriber '" + subscriberID.toString() + "'");
}

velm::RemovalReason reasonOfExpiry(const CSubscriber& subscriber) noexcept {
    const ORVSmrPtr<CSubscriberNetworkConnection> connection = subscriber.getNetworkConnection();
    if (!connection.IsNull() && connection->isClosed()) {
        return velm::RemovalReason::channelClosed;
    }
    return subscriber.record()->subscriptions() == 0 ? velm::RemovalReason::left
                                                     : velm::RemovalReason::expired;
}

using FilterProcessor = COrvoIndicationFilterProcessor;

/// How to ask a filter processor about one kind of indication.
struct KindOfInterest {
    ORVSmrPtr<IOrvoSubscriptionFilter> (FilterProcessor::*filter)() const;
    unsigned int (FilterProcessor::*referenceCount)() const;
    IOrvoIndication::IndicationType type;
};

constexpr KindOfInterest kindsOfInterest[] = {
    {&FilterProcessor::getChangeFilter, &FilterProcessor::getChangeSubscriptionReferenceCount,
     IOrvoIndication::IndicationChange},
    {&FilterProcessor::getAdditionFilter, &FilterProcessor::getAdditionSubscriptionReferenceCount,
     IOrvoIndication::IndicationAddition},
    {&FilterProcessor::getRemovalFilter, &FilterProcessor::getRemovalSubscriptionReferenceCount,
     IOrvoIndication::IndicationRemoval},
    {&FilterProcessor::getCreationFilter, &FilterProcessor::getCreationSubscriptionReferenceCount,
     IOrvoIndication::IndicationCreation},
    {&FilterProcessor::getDestroyFilter, &FilterProcessor::getDestroySubscriptionReferenceCount,
     IOrvoIndication::IndicationDestruction},
    {&FilterProcessor::getEnterRelationshipFilter, &FilterProcessor::getEnterRelationshipReferenceCount,
     IOrvoIndication::IndicationEnterRelationship},
    {&FilterProcessor::getLeaveRelationshipFilter, &FilterProcessor::getLeaveRelationshipReferenceCount,
     IOrvoIndication::IndicationLeaveRelationship},
};

}  // namespace

CIndicationManager::CDeletedSubscriberRecord::CDeletedSubscriberRecord(ORVSmrPtr<CSubscriber> subscriber)
    : _subscriber(std::move(subscriber)),
      _subscriberInstanceNameList(new ORVValSlist<ORVSmrPtr<CSubscriberList>>) {
}

void CIndicationManager::CDeletedSubscriberRecord::addTableEntry(
    ORVSmrPtr<IOrvoInstanceName> instanceName, ORVSmrPtr<CSubscriberTableEntry> tableEntry) {
    ORVSmrPtr<CSubscriberList> list(new CSubscriberList(instanceName));
    list->addEntry(tableEntry);
    _subscriberInstanceNameList->append(list);
}

void CIndicationManager::removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMontitor,
                                          bool cleanupDeletedSubscribers) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    try {
        const ORVSmrPtr<CSubscriber> subscriber = findSubscriber(subscriberID, true);
        if (!subscriber.IsNull()) {
            if (informConnectionMontitor) {
                _connectionMonitor->subscriptionChangeOccured();
            }
            _subscriberIndex.erase(_subscribers, _positionOf(*subscriber));
            _deleteSubscriber(subscriber);
            _noteRemoval(*subscriber);
        }
    } catch (...) {
        logRemovalFailure(subscriberID);
    }
    lock.leave();
    if (cleanupDeletedSubscribers) {
        _cleanupDeletedSubscribers();
    }
}

void CIndicationManager::_noteRemoval(CSubscriber& subscriber) noexcept {
    velm::RemovalReason reason = velm::RemovalCause::current();
    if (reason == velm::RemovalReason::expired) {
        reason = reasonOfExpiry(subscriber);
    }
    _records->noteRemoval(subscriber, reason);
}

void CIndicationManager::removeAllSubscribers(bool informConnectionMontitor, bool cleanupDeletedSubscribers) {
    const velm::RemovalCause cause(velm::RemovalReason::allRemoved);
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    for (unsigned int index = _subscribers.entries(); index >= 1; --index) {
        const auto position = index == _subscribers.entries() ? _subscribers.last()
                                                              : std::next(_subscribers.begin(), index - 1);
        const ORVSmrPtr<CSubscriber> subscriber = *position;
        bool isErased = false;
        try {
            if (informConnectionMontitor) {
                _connectionMonitor->subscriptionChangeOccured();
            }
            _subscriberIndex.erase(_subscribers, position);
            isErased = true;
        } catch (...) {
            if (!subscriber.IsNull()) {
                logRemovalFailure(*subscriber->getSubscriberID());
            }
        }
        if (!subscriber.IsNull()) {
            _deleteSubscriber(subscriber);
            if (isErased) {
                _noteRemoval(*subscriber);
            }
        }
    }
    lock.leave();
    if (cleanupDeletedSubscribers) {
        _cleanupDeletedSubscribers();
    }
}

void CIndicationManager::checkSubscriberStatus() {
    ORVValSlist<ORVSmrPtr<CSubscriberID>> subscriberIDList;
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    try {
        for (const ORVSmrPtr<CSubscriber>& subscriber : _subscribers) {
            if (subscriber.IsNull()) {
                traceError("NULL subscriber entry in list");
            } else if (subscriber->isOutOfDate()) {
                subscriberIDList.append(subscriber->getSubscriberID());
            }
        }
        const velm::RemovalCause cause(velm::RemovalReason::expired);
        for (const ORVSmrPtr<CSubscriberID>& id : subscriberIDList) {
            removeSubscriber(*id, true, false);
        }
    } catch (...) {
        // Whoever is still out of date is found again by the next sweep.
    }
    lock.leave();
    _cleanupDeletedSubscribers();
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> CIndicationManager::getCurrentSubscribers() {
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> result;
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        result = new ORVValSlist<ORVSmrPtr<CSubscriber>>;
        for (const ORVSmrPtr<CSubscriber>& subscriber : _subscribers) {
            result->append(subscriber);
        }
    } catch (...) {
        logError("CIndicationManager::getCurrentSubscribers",
                 "An unknown exception occured while retrieving the list of subscribers.");
    }
    return result;
}

const ORVSmrPtr<CSubscriber> CIndicationManager::findSubscriber(const CSubscriberID& subscriberID,
                                                                bool exactMatch) const {
    if (exactMatch && _subscriberIndex.isUsable()) {
        const auto position = _subscriberIndex.find(subscriberID);
        return position == ORVValSlist<ORVSmrPtr<CSubscriber>>::iterator() ? nullptr : *position;
    }
    for (const ORVSmrPtr<CSubscriber>& subscriber : _subscribers) {
        if (subscriber.IsNull()) {
            traceError("NULL subscriber entry in list");
            continue;
        }
        const CSubscriberID& id = *subscriber->getSubscriberID();
        if (exactMatch ? id == subscriberID : id != subscriberID) {
            return subscriber;
        }
    }
    return nullptr;
}

ORVValSlist<ORVSmrPtr<CSubscriber>>::iterator CIndicationManager::_positionOf(const CSubscriber& subscriber) {
    const auto isIt = [&subscriber](const CSubscriber& other) { return &other == &subscriber; };
    if (_subscriberIndex.isUsable()) {
        return _subscriberIndex.findIf(*subscriber.identity(), isIt);
    }
    return std::find_if(_subscribers.begin(), _subscribers.end(),
                        [&](const auto& other) { return !other.IsNull() && isIt(*other); });
}

void CIndicationManager::_deleteSubscriber(ORVSmrPtr<CSubscriber> subscriber) {
    ORVString text;
    try {
        const ORVSmrPtr<CSubscriberID> subscriberID = subscriber->getSubscriberID();
        text = subscriberID->toString();
        _deleteFromSubscriberTable(subscriber);
        _deleteFromClassRegistry(*subscriberID);
    } catch (...) {
        logError("CIndicationManager::_deleteSubscriber (CCIMOMClass.removeSubscriber)",
                 "An Unknown exception occured remove the subscriber " + text);
    }
}

void CIndicationManager::_deleteFromSubscriberTable(const ORVSmrPtr<CSubscriber>& subscriber) {
    const CSubscriberID& subscriberID = *subscriber->getSubscriberID();
    // A list of a destroyed instance must not keep the subscriber, and its connection, alive.
    _purgeSubscriberTable();
    ORVSmrPtr<CDeletedSubscriberRecord> record(new CDeletedSubscriberRecord(subscriber));
    ORVValSlist<ORVString> instanceNamesToDelete;
    bool isGone = true;
    for (const ORVString& key : _tablePlaces.keysOf(subscriberID, _subscriberTable)) {
        CSubscriberList& list = **_subscriberTable.find(key);
        const ORVSmrPtr<CSubscriberTableEntry> entry = list.takeEntry(subscriberID);
        if (entry.IsNull()) {
            continue;
        }
        const ORVSmrPtr<IOrvoInstanceName> instanceName = list.getInstanceName();
        record->addTableEntry(instanceName, entry);
        isGone = isGone && !list.hasRow(subscriberID);
        if (list.isEmpty()) {
            instanceNamesToDelete.append(instanceName->toString());
        }
    }
    // Not before: after a failure half-way a later removal comes by the rest. Another subscriber may have the
    // same identity.
    if (isGone) {
        _tablePlaces.forget(subscriberID);
    }
    // A class-wide list is filed under the class name, so this look-up leaves it in place, empty.
    for (const ORVString& name : instanceNamesToDelete) {
        ORVSmrPtr<CSubscriberList> list;
        if (_subscriberTable.find(name, list) && list->isEmpty()) {
            _subscriberTable.remove(list->getInstanceName()->toString());
        }
    }
    if (!record->getSubscriberList()->isEmpty()) {
        _addDeletedSubscriber(record);
    }
}

void CIndicationManager::_updatePlace(const ORVString& key, const CSubscriberList& list,
                                      const CSubscriberID& id) {
    if (list.hasRow(id)) {
        _tablePlaces.add(id, key);  // Of another subscriber with the same identity.
    } else {
        _tablePlaces.remove(id, key, _subscriberTable);
    }
}

void CIndicationManager::_purgeSubscriberTable() {
    _subscriberTable.purge([this](const ORVString& key, const ORVSmrPtr<CSubscriberList>& list) {
        list->visitIdentities(
            [&](const CSubscriberID& id) { _tablePlaces.remove(id, key, _subscriberTable); });
    });
}

void CIndicationManager::_deleteFromClassRegistry(const CSubscriberID& subscriberID) {
    const velm::ClassManagerWriteGuard classManager;
    try {
        DeletedFilters deletedFilters(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
        classManager->lookup(velm::catchAllClassName)->removeSubscriber(subscriberID, deletedFilters);
        _addDeletedFilters(deletedFilters);
    } catch (...) {
        logError("CIndicationManager::_deleteSubscriber",
                 "An Unknown exception occured remove the subscriber " + subscriberID.toString());
    }
}

void CIndicationManager::_addDeletedSubscriber(ORVSmrPtr<CDeletedSubscriberRecord> record) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        if (_deletedSubscribersList.IsNull()) {
            _deletedSubscribersList = new ORVValSlist<ORVSmrPtr<CDeletedSubscriberRecord>>;
        }
        _deletedSubscribersList->append(record);
    } catch (...) {
        // Out of memory: the providers go on producing, and the indications find no subscriber.
    }
}

void CIndicationManager::_addDeletedFilters(DeletedFilters deletedFilters) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        if (_deletedFiltersList.IsNull()) {
            _deletedFiltersList = new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>;
        }
        for (const ORVSmrPtr<CCIMOMDeletedFilterRecord>& record : *deletedFilters) {
            _deletedFiltersList->append(record);
        }
    } catch (...) {
        // As above.
    }
}

void CIndicationManager::_getDeletedSubscribersList(DeletedSubscribers& deletedSubscribersList,
                                                    DeletedFilters& deletedFiltersList) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    try {
        DeletedSubscribers emptySubscribers(new ORVValSlist<ORVSmrPtr<CDeletedSubscriberRecord>>);
        deletedSubscribersList = std::exchange(_deletedSubscribersList, std::move(emptySubscribers));
        DeletedFilters emptyFilters(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
        deletedFiltersList = std::exchange(_deletedFiltersList, std::move(emptyFilters));
    } catch (...) {
        // Out of memory: what was not taken waits for the next clean-up.
    }
}

void CIndicationManager::_cleanupDeletedSubscribers() {
    const auto forEach = [](const auto& records, auto tellProviders) {
        if (records.IsNull()) {
            return;
        }
        for (const auto& record : *records) {
            try {
                tellProviders(record);
            } catch (...) {
                logError("CIndicationManager::_cleanupDeletedSubscribers",
                         "An unknown exception occured while telling providers of a removed subscriber.");
            }
        }
    };
    DeletedSubscribers subscribers;
    DeletedFilters filters;
    _getDeletedSubscribersList(subscribers, filters);
    forEach(subscribers, [this](const auto& record) { _deleteSubscriberFromProviders(record); });
    forEach(filters, [this](const auto& record) { _deleteFilterFromProviders(record); });
}

void CIndicationManager::_deleteSubscriberFromProviders(
    ORVSmrPtr<CDeletedSubscriberRecord> deletedSubscriberRecord) {
    for (const ORVSmrPtr<CSubscriberList>& list : *deletedSubscriberRecord->getSubscriberList()) {
        for (const ORVSmrPtr<CSubscriberTableEntry>& entry : *list->getList()) {
            _deleteTableEntryFromProviders(list->getInstanceName(), *entry);
        }
    }
}

void CIndicationManager::_deleteTableEntryFromProviders(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                                        const CSubscriberTableEntry& entry) {
    const FilterProcessor wants = entry.getWants();
    for (const KindOfInterest& kind : kindsOfInterest) {
        if ((wants.*kind.referenceCount)() != 0) {
            try {
                _unsubscribeFromProvider(instanceName, kind.type, nullptr, entry.isClassBased());
            } catch (...) {
                traceError("An unknown exception occured unsubscribing a NULL filter on the object " +
                           instanceName->toString());
            }
        }
        const ORVSmrPtr<IOrvoSubscriptionFilter> filter = (wants.*kind.filter)();
        if (!filter.IsNull()) {
            try {
                _unsubscribeFromProvider(instanceName, kind.type, filter, entry.isClassBased());
            } catch (...) {
                traceError("An unknown exception occured unsubscribing a filter on the object " +
                           instanceName->toString());
            }
        }
    }
}

void CIndicationManager::_deleteFilterFromProviders(
    ORVSmrPtr<CCIMOMDeletedFilterRecord> deletedFilterRecord) {
    const ORVSmrPtr<IOrvoInstanceName> sourceInstanceName = deletedFilterRecord->getInstanceName();
    if (sourceInstanceName.IsNull()) {
        return;
    }
    const ORVSmrPtr<CCIMOMIndicationFilter> filter = deletedFilterRecord->getFilter()->getIndicationFilter();
    ORVSmrPtr<IOrvoValue> right;
    switch (filter->getFilterType()) {
        case CCIMOMIndicationFilter::FilterAddAssociation:
        case CCIMOMIndicationFilter::FilterRemoveAssociation:
        case CCIMOMIndicationFilter::FilterEnterRelationship:
        case CCIMOMIndicationFilter::FilterLeaveRelationship: {
            ORVSmrPtr<CCIMOMAssociationIndicationFilter> associationFilter;
            ForceCopySmrPtr(associationFilter, filter);
            right = new COrvoValue(associationFilter->getClassTwo()->getClassName());
            break;
        }
        case CCIMOMIndicationFilter::FilterCreate:
        case CCIMOMIndicationFilter::FilterDestroy:
            break;
        default:
            return;
    }
    // Filter types and indication types are the same numbers.
    const auto indicationType = static_cast<IOrvoIndication::IndicationType>(filter->getFilterType());
    ORVSmrPtr<IOrvoValue> source(new COrvoValue(sourceInstanceName));
    ORVSmrPtr<IOrvoValue> left = source;
    _unsubscribeFromProvider(source, left, right, indicationType);
}
