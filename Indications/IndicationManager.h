#pragma once

#include "CIMOM_Indications/CIMOMDeletedFilterRecord.h"
#include "CIMOM_Indications/SubscriberPlaces.h"
#include "Indications/IIndicationManager.h"
#include "Indications/IndicationStatus.h"
#include "Indications/NameSieve.h"
#include "foundation/containers/ORVValMap.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/services/IVELMServer.h"
#include "foundation/subscribers/CSubscriberList.h"
#include "foundation/subscribers/CSubscriberNetworkConnectionMonitor.h"
#include "foundation/subscribers/SubscriberIndex.h"
#include "foundation/utilities/ORVReaderWriterLock.h"
#include "foundation/utilities/ORVTypes.h"

#include <atomic>
#include <memory>
#include <vector>

namespace velm {
class DeliveryRecords;
class RoutedIndication;
}  // namespace velm

/// The indication subsystem's one object: subscribers, instance subscriptions, the delivery thread and the
/// connection monitor. See IIndicationManager for what its operations promise.
///
/// Threads: one reader/writer lock guards the tables. notify(), heartBeat(), dump() and
/// getCurrentSubscribers() hold it for reading, every change for writing; the class manager's lock nests
/// inside. No provider is called under either. Ownership: the server keeps the manager alive until it has
/// stopped its request handlers and providers; then the destructor stops the monitor and the delivery thread,
/// waiting for their calls into the manager but never for the network. Self-handles that others still hold
/// refer to nothing afterwards.
class VELM_EXPORT CIndicationManager : public IIndicationManager {
public:
    /// Starts the delivery thread and reads "VELM"/"CimTransactionTimeout" (seconds, default 600). Requires:
    /// `server` outlives the manager. Throws what starting the thread throws.
    explicit CIndicationManager(velm::IVELMServer& server);
    ~CIndicationManager() override;

    /// A hook that servers call after construction. Does nothing.
    void initialize(ORVSmrPtr<CIndicationManager> self);

    void removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMontitor,
                          bool cleanupDeletedSubscribers) override;
    void checkSubscriberStatus() override;
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> getCurrentSubscribers() override;

    bool subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoInstanceName> instanceName,
                   ORVSmrPtr<IOrvoSubscriptionFilter> filter, IOrvoIndication::IndicationType type,
                   const ORVString& localHostName, const ORVString& localPortNumber,
                   const bool& classWide) override;
    bool unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoInstanceName> instanceName,
                     ORVSmrPtr<IOrvoSubscriptionFilter> filter, IOrvoIndication::IndicationType type,
                     const bool& classWide) override;
    bool subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                   ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                   IOrvoIndication::IndicationType type, const ORVString& localHostName,
                   const ORVString& localPortNumber) override;
    bool unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                     ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                     IOrvoIndication::IndicationType type) override;
    void registerNotificationChannel(ORVSmrPtr<CSubscriberID> subscriberID, const ORVString& localHostName,
                                     const ORVString& localPortNumber,
                                     ORVSmrPtr<CSubscriberNetworkConnection> connection, int) override;
    void heartBeat(ORVSmrPtr<CSubscriberID>& subscriberID) override;
    bool notify(ORVSmrPtr<IOrvoIndication> indication) override;
    bool addSubscriber(ORVSmrPtr<CSubscriber> subscriber) override;
    void removeAllSubscribers(bool informConnectionMontitor, bool cleanupDeletedSubscribers) override;
    const ORVSmrPtr<CSubscriber> findSubscriber(const CSubscriberID& subscriberID,
                                                bool exactMatch) const override;
    void dump(std::ostream& ostr) override;
    ORVSmrPtr<IOrvoSubscriber> getSmartSubscriber() override;
    void enableIndications() override;
    void disableIndications() override;
    bool getIndicationsEnabled() const override;
    ORVSmrPtr<CIndicationNotifier> getIndicationNotifier() const override;

    /// What the manager and the delivery thread have done so far. Holds the lock for reading, no longer than
    /// getCurrentSubscribers() does. Throws std::bad_alloc.
    velm::IndicationCounters getCounters() const;
    /// The same with the subscribers, present and removed.
    velm::IndicationStatus getStatus() const;

    class CDeletedSubscriberRecord;

private:
    friend struct CIndicationManagerInspector;

    using DeletedSubscribers = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CDeletedSubscriberRecord>>>;
    using DeletedFilters = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>>;
    using ProviderOperation = void (CIndicationManager::*)(ORVSmrPtr<IOrvoInstanceName>,
                                                           IOrvoIndication::IndicationType,
                                                           ORVSmrPtr<IOrvoSubscriptionFilter>, const bool&);

    CIndicationManager(const CIndicationManager&);
    CIndicationManager& operator=(const CIndicationManager&);

    void _detachSelfHandles() noexcept;

    // Subscription. Requires for the first two: the write lock.
    ORVSmrPtr<CSubscriber> _findOrAddSubscriber(const ORVSmrPtr<CSubscriberID>& subscriberID,
                                                const ORVString& localHostName,
                                                const ORVString& localPortNumber);
    /// The list for a row of the subscriber, new when there is none.
    CSubscriberList& _addToTable(const ORVSmrPtr<CSubscriber>& subscriber,
                                 const ORVSmrPtr<IOrvoInstanceName>& instanceName, bool classWide);
    bool _subscribeUnSubscribe(ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoValue>& classValue,
                               ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                               IOrvoIndication::IndicationType type, bool subscribe);

    // Routing. Requires: the read lock.
    bool _route(const ORVSmrPtr<IOrvoIndication>& indication);
    bool _routeChange(velm::RoutedIndication& indication);
    bool _notifyClassLists(velm::RoutedIndication& indication);
    void _routeThroughClassTree(velm::RoutedIndication& indication);

    // Provider calls. Requires: no lock is held.
    template <class Call>
    auto _callProvider(Call call);
    void _subscribeToProvider(ORVSmrPtr<IOrvoInstanceName> instanceName,
                              IOrvoIndication::IndicationType indicationType,
                              ORVSmrPtr<IOrvoSubscriptionFilter> filter, const bool& isClassBased);
    void _unsubscribeFromProvider(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                  IOrvoIndication::IndicationType indicationType,
                                  ORVSmrPtr<IOrvoSubscriptionFilter> filter, const bool& isClassBased);
    void _subscribeToProvider(ORVSmrPtr<IOrvoValue>& sourceInstanceName,
                              ORVSmrPtr<IOrvoValue>& associationinstanceNameLeft,
                              ORVSmrPtr<IOrvoValue>& associationinstanceNameRight,
                              IOrvoIndication::IndicationType indicationType);
    void _unsubscribeFromProvider(ORVSmrPtr<IOrvoValue>& sourceInstanceName,
                                  ORVSmrPtr<IOrvoValue>& associationinstanceNameLeft,
                                  ORVSmrPtr<IOrvoValue>& associationinstanceNameRight,
                                  IOrvoIndication::IndicationType indicationType);
    template <class Call>
    void _askProviders(const ORVSmrPtr<IOrvoInstanceName>& instanceName, const char* methodName, bool askAll,
                       Call call);
    void _forwardValues(ORVSmrPtr<IOrvoValue>& source, ORVSmrPtr<IOrvoValue>& left,
                        ORVSmrPtr<IOrvoValue>& right, IOrvoIndication::IndicationType indicationType,
                        ProviderOperation operation);
    ORVSmrPtr<IOrvoObject> _getInstanceFromProvider(const ORVString& nameSpace,
                                                    ORVSmrPtr<IOrvoInstanceName> instanceName);
    ORVSmrPtr<IOrvoObject> _getInstanceFromProvider(ORVSmrPtr<IOrvoInstanceName> instanceName);
    [[noreturn]] void _throwClassNotFoundException(ORVSmrPtr<IOrvoValue> classInstanceValue);

    /// The present subscribers, and in `counters` all that is not theirs.
    std::vector<ORVSmrPtr<CSubscriber>> _snapshot(velm::IndicationCounters& counters) const;

    // The tables and what stands beside them. Requires: the write lock.
    /// Where the subscriber stands in the list. Requires: it is there.
    ORVValSlist<ORVSmrPtr<CSubscriber>>::iterator _positionOf(const CSubscriber& subscriber);
    /// Takes note of a row that was removed from the list.
    void _updatePlace(const ORVString& key, const CSubscriberList& list, const CSubscriberID& id);
    void _purgeSubscriberTable();

    // Removal, phase one. Requires: the write lock.
    void _noteRemoval(CSubscriber& subscriber) noexcept;
    void _deleteSubscriber(ORVSmrPtr<CSubscriber> subscriber);
    void _deleteFromSubscriberTable(const ORVSmrPtr<CSubscriber>& subscriber);
    void _deleteFromClassRegistry(const CSubscriberID& subscriberID);
    void _addDeletedSubscriber(ORVSmrPtr<CDeletedSubscriberRecord> record);
    void _addDeletedFilters(DeletedFilters deletedFilters);

    // Removal, phase two. Requires: no lock is held.
    void _getDeletedSubscribersList(DeletedSubscribers& deletedSubscribersList,
                                    DeletedFilters& deletedFiltersList);
    void _cleanupDeletedSubscribers();
    void _deleteSubscriberFromProviders(ORVSmrPtr<CDeletedSubscriberRecord> deletedSubscriberRecord);
    void _deleteTableEntryFromProviders(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                        const CSubscriberTableEntry& entry);
    void _deleteFilterFromProviders(ORVSmrPtr<CCIMOMDeletedFilterRecord> deletedFilterRecord);

    void _writeChannelResponse(CSubscriberNetworkConnection& connection) const;
    void _dumpSubscriberTable(std::ostream& ostr) const;

    velm::IVELMServer& _velmServer;
    ORVsint32 _transactionTimeout;
    ORVValMap<ORVString, ORVSmrPtr<CSubscriberList>> _subscriberTable;
    /// Who has a row under which key of the table.
    velm::SubscriberPlaces _tablePlaces;
    /// Which keys of the table can be names of classes.
    velm::NameSieve _tableNames;
    ORVuint32 _serverSessionID;
    ORVValSlist<ORVSmrPtr<CSubscriber>> _subscribers;
    SubscriberIndex<CSubscriber> _subscriberIndex;
    ORVSmrPtr<ISubscriberManager> _smartThis;
    ORVSmrPtr<CSubscriberNetworkConnectionMonitor> _connectionMonitor;
    ORVSmrPtr<CIndicationNotifier> _indicationNotifer;
    std::shared_ptr<velm::DeliveryRecords> _records;
    ORVSmrPtr<IOrvoSubscriber> _iOrvoSubscriberPtr;
    ORVReaderWriterLock _indicationManagerLock;
    int _sendTimeout;
    std::atomic<bool> _indicationsEnabled;
    DeletedSubscribers _deletedSubscribersList;
    DeletedFilters _deletedFiltersList;
};

/// A removed subscriber and the table rows it had, kept until the providers were told.
class CIndicationManager::CDeletedSubscriberRecord {
public:
    using SubscriberLists = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriberList>>>;

    explicit CDeletedSubscriberRecord(ORVSmrPtr<CSubscriber> subscriber);

    ORVSmrPtr<CSubscriber> getSubscriber() const { return _subscriber; }

    /// One list for each row, in order of removal.
    SubscriberLists getSubscriberList() const { return _subscriberInstanceNameList; }

    /// Files `tableEntry` in a new list for `instanceName`, also when there is one for that name.
    void addTableEntry(ORVSmrPtr<IOrvoInstanceName> instanceName,
                       ORVSmrPtr<CSubscriberTableEntry> tableEntry);

private:
    ORVSmrPtr<CSubscriber> _subscriber;
    SubscriberLists _subscriberInstanceNameList;
};
