#pragma once

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationManager.h"
#include "Indications/IndicationNotifier.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Looks into a manager, and calls what only the manager itself calls.
struct CIndicationManagerInspector {
    CIndicationManager& manager;

    ORVsint32 transactionTimeout() const { return manager._transactionTimeout; }
    ORVuint32 serverSessionID() const { return manager._serverSessionID; }
    ORVValMap<ORVString, ORVSmrPtr<CSubscriberList>>& subscriberTable() const {
        return manager._subscriberTable;
    }
    ORVValSlist<ORVSmrPtr<CSubscriber>>& subscribers() const { return manager._subscribers; }
    ORVReaderWriterLock& lock() const { return manager._indicationManagerLock; }
    ORVSmrPtr<CSubscriberNetworkConnectionMonitor>& connectionMonitor() const {
        return manager._connectionMonitor;
    }
    const ORVSmrPtr<ISubscriberManager>& smartThis() const { return manager._smartThis; }

    bool hasTableKey(const ORVString& key) const {
        ORVSmrPtr<CSubscriberList> list;
        return subscriberTable().find(key, list);
    }
    std::size_t pendingSubscriberRecords() const {
        return manager._deletedSubscribersList.IsNull() ? 0 : manager._deletedSubscribersList->entries();
    }
    ORVSmrPtr<IOrvoObject> getInstanceFromProvider(const ORVSmrPtr<IOrvoInstanceName>& name) const {
        return manager._getInstanceFromProvider(name);
    }
    void throwClassNotFoundException(const ORVSmrPtr<IOrvoValue>& value) const {
        manager._throwClassNotFoundException(value);
    }
    void subscribeToProvider(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type,
                             bool isClassBased) const {
        manager._subscribeToProvider(name, type, nullptr, isClassBased);
    }
    void subscribeToProvider(ORVSmrPtr<IOrvoValue> source, ORVSmrPtr<IOrvoValue> left,
                             ORVSmrPtr<IOrvoValue> right, IOrvoIndication::IndicationType type) const {
        manager._subscribeToProvider(source, left, right, type);
    }
    /// What a derived class does first when it is destroyed: the manager's threads call virtual operations.
    void detachThreads() const { manager._detachSelfHandles(); }
    /// Puts another delivery thread in the place of the manager's own.
    void replaceNotifier(CIndicationNotifier* notifier) const {
        manager._indicationNotifer->detachManager();
        manager._indicationNotifer = notifier;
    }
    void unsubscribeFromProvider(const ORVSmrPtr<IOrvoInstanceName>& name,
                                 IOrvoIndication::IndicationType type, bool isClassBased) const {
        manager._unsubscribeFromProvider(name, type, nullptr, isClassBased);
    }
};

namespace velm::test {

/// A provider that writes down what it is asked, and does as its script says.
class RecordingProvider : public IProvider {
public:
    struct Call {
        std::string method;
        /// The text of the instance name; "null" for a null handle.
        std::string instance;
        IOrvoIndication::IndicationType type;
        /// COrvoDebugTools::indicationFilterToString of the filter.
        std::string filter;

        bool operator==(const Call&) const = default;
    };
    using Calls = std::shared_ptr<std::vector<Call>>;
    using Script = std::function<ORVSmrPtr<IOrvoValue>(const Call&)>;

    /// Several providers may write into one list, so that the order in which they are asked shows.
    explicit RecordingProvider(Calls calls, Script script = accepting());

    static Script accepting();
    static Script answering(const ORVSmrPtr<IOrvoValue>& value);
    static Script throwing();

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

    /// What getInstance answers; a null handle by default.
    ORVSmrPtr<IOrvoObject> instance;
    /// The observer and the transaction of the last call.
    ORVSmrPtr<IOrvoSubscriber> lastObserver;
    ORVSmrPtr<IOrvoTransaction> lastTransaction;

private:
    ORVSmrPtr<IOrvoValue> _record(const char* method, const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                  IOrvoIndication::IndicationType type,
                                  const ORVSmrPtr<IOrvoSubscriptionFilter>& filter);

    Calls _calls;
    Script _script;
};

void PrintTo(const RecordingProvider::Call& call, std::ostream* out);

/// A server with the providers that a test gives it.
class ListServer : public IVELMServer {
public:
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
        ORVSmrPtr<IOrvoInstanceName> instanceName) override;
    IProvider* _selectProvider(const ORVString& nameSpace, const ORVString& className) override;

    /// Null entries stand for providers that are registered but not loaded.
    std::vector<IProvider*> providers;
    /// Whether a null instance name gets the list too.
    bool answersForNullName = false;
    std::string lastNameSpace;
};

/// A manager over a small class tree, whose delivery thread has been stopped, so that queues keep what they
/// get:
///
///     ManagedElement - LogicalFile - DataFile
///                                  - Directory
///     Component - DirectoryContainsFile
class IndicationManagerTest : public ::testing::Test {
protected:
    IndicationManagerTest();
    ~IndicationManagerTest() override;

    static ORVSmrPtr<CSubscriberID> makeID(const ORVString& host = "127.0.0.1", std::uint32_t session = 1);

    /// Class-based, with names of classes; a null string gives a null value.
    bool subscribeClass(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                        IOrvoIndication::IndicationType type);
    bool unsubscribeClass(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                          IOrvoIndication::IndicationType type);
    bool subscribeEnds(const ORVSmrPtr<CSubscriberID>& id, ORVSmrPtr<IOrvoValue> classValue,
                       ORVSmrPtr<IOrvoValue> one, ORVSmrPtr<IOrvoValue> two,
                       IOrvoIndication::IndicationType type);
    bool unsubscribeEnds(const ORVSmrPtr<CSubscriberID>& id, ORVSmrPtr<IOrvoValue> classValue,
                         ORVSmrPtr<IOrvoValue> one, ORVSmrPtr<IOrvoValue> two,
                         IOrvoIndication::IndicationType type);

    /// Instance-based, for changes.
    bool subscribeChange(const ORVSmrPtr<CSubscriberID>& id, const ORVSmrPtr<IOrvoInstanceName>& name,
                         bool classWide = false, const std::vector<std::string>& properties = {});
    bool unsubscribeChange(const ORVSmrPtr<CSubscriberID>& id, const ORVSmrPtr<IOrvoInstanceName>& name,
                           bool classWide = false, const std::vector<std::string>& properties = {});

    /// Takes what is queued for a subscriber, and answers its types in order.
    std::vector<IOrvoIndication::IndicationType> takeQueued(const ORVSmrPtr<CSubscriberID>& id);

    RecordingProvider& addProvider(RecordingProvider::Script script = RecordingProvider::accepting());
    std::vector<std::string> methodsCalled() const;

    ListServer server;
    RecordingProvider::Calls calls = std::make_shared<std::vector<RecordingProvider::Call>>();
    std::vector<std::unique_ptr<RecordingProvider>> providers;
    ORVSmrPtr<IOrvoRepository> repository;
    std::unique_ptr<CIndicationManager> manager;
    LogCapture log;
    ORVSmrPtr<IOrvoInstanceName> file = makeInstanceName("DataFile", "a");
};

/// A filter on these properties; a null handle for none.
ORVSmrPtr<IOrvoSubscriptionFilter> makeFilter(const std::vector<std::string>& properties);

inline CIndicationManagerInspector inspect(CIndicationManager& manager) {
    return {manager};
}

}  // namespace velm::test
