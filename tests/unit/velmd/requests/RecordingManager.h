#pragma once

#include "Indications/IIndicationManager.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace velm::test {

/// An indication manager that writes down what request handlers ask of it. Any thread may call it.
class RecordingManager : public IIndicationManager {
public:
    /// One line for each call: the operation, who, the type, what, and the server's address.
    std::vector<std::string> calls() const;
    std::string lastCall() const;

    /// What subscribing and unsubscribing answer.
    bool answer = true;
    /// Called in every operation after it was written down; throws what a manager may throw.
    std::function<void()> fault;
    /// What registerNotificationChannel does with the connection.
    std::function<void(CSubscriberNetworkConnection&)> onChannel;

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

    // What request handlers never call.

    bool notify(ORVSmrPtr<IOrvoIndication>) override { return false; }
    bool addSubscriber(ORVSmrPtr<CSubscriber>) override { return true; }
    void removeAllSubscribers(bool, bool) override {}
    const ORVSmrPtr<CSubscriber> findSubscriber(const CSubscriberID&, bool) const override { return {}; }
    void dump(std::ostream&) override {}
    ORVSmrPtr<IOrvoSubscriber> getSmartSubscriber() override { return {}; }
    void enableIndications() override {}
    void disableIndications() override {}
    bool getIndicationsEnabled() const override { return true; }
    ORVSmrPtr<CIndicationNotifier> getIndicationNotifier() const override;
    void removeSubscriber(const CSubscriberID&, bool, bool) override {}
    void checkSubscriberStatus() override {}
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> getCurrentSubscribers() override { return {}; }

private:
    void _record(const std::string& call);

    mutable std::mutex _lock;
    std::vector<std::string> _calls;
};

}  // namespace velm::test
