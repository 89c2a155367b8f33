#include "tests/unit/velmd/requests/RecordingManager.h"

#include "Indications/IndicationNotifier.h"
#include "foundation/object_model/COrvoDebugTools.h"

#include <fmt/format.h>

namespace velm::test {

namespace {

std::string typed(const ORVSmrPtr<IOrvoValue>& value) {
    if (value.IsNull()) {
        return "null";
    }
    return fmt::format("{} {}", value->getType()->getName().view(), value->toString().view());
}

std::string changeCall(const char* operation, const CSubscriberID& subscriber, const IOrvoInstanceName& name,
                       const ORVSmrPtr<IOrvoSubscriptionFilter>& filter, IOrvoIndication::IndicationType type,
                       bool classWide) {
    return fmt::format("{} {} {} {} filter {} {}", operation, subscriber.toString().view(),
                       COrvoDebugTools::indicationTypeToString(type).view(), name.toString().view(),
                       COrvoDebugTools::indicationFilterToString(filter).view(),
                       classWide ? "class-wide" : "one");
}

std::string eventCall(const char* operation, const CSubscriberID& subscriber,
                      const ORVSmrPtr<IOrvoValue>& classValue, const ORVSmrPtr<IOrvoValue>& endOne,
                      const ORVSmrPtr<IOrvoValue>& endTwo, IOrvoIndication::IndicationType type) {
    return fmt::format("{} {} {} <{}> <{}> <{}>", operation, subscriber.toString().view(),
                       COrvoDebugTools::indicationTypeToString(type).view(), typed(classValue), typed(endOne),
                       typed(endTwo));
}

std::string at(const ORVString& host, const ORVString& port) {
    return fmt::format(" at {} {}", host.view(), port.view());
}

}  // namespace

std::vector<std::string> RecordingManager::calls() const {
    const std::lock_guard guard(_lock);
    return _calls;
}

std::string RecordingManager::lastCall() const {
    const std::lock_guard guard(_lock);
    return _calls.empty() ? "nothing" : _calls.back();
}

void RecordingManager::_record(const std::string& call) {
    {
        const std::lock_guard guard(_lock);
        _calls.push_back(call);
    }
    if (fault) {
        fault();
    }
}

bool RecordingManager::subscribe(ORVSmrPtr<CSubscriberID> subscriberID,
                                 ORVSmrPtr<IOrvoInstanceName> instanceName,
                                 ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                 IOrvoIndication::IndicationType type, const ORVString& localHostName,
                                 const ORVString& localPortNumber, const bool& classWide) {
    _record(changeCall("subscribe", *subscriberID, *instanceName, filter, type, classWide) +
            at(localHostName, localPortNumber));
    return answer;
}

bool RecordingManager::unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID,
                                   ORVSmrPtr<IOrvoInstanceName> instanceName,
                                   ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                   IOrvoIndication::IndicationType type, const bool& classWide) {
    _record(changeCall("unsubscribe", *subscriberID, *instanceName, filter, type, classWide));
    return answer;
}

bool RecordingManager::subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                                 ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                                 IOrvoIndication::IndicationType type, const ORVString& localHostName,
                                 const ORVString& localPortNumber) {
    _record(eventCall("subscribe", *subscriberID, classValue, endOne, endTwo, type) +
            at(localHostName, localPortNumber));
    return answer;
}

bool RecordingManager::unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                                   ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                                   IOrvoIndication::IndicationType type) {
    _record(eventCall("unsubscribe", *subscriberID, classValue, endOne, endTwo, type));
    return answer;
}

void RecordingManager::registerNotificationChannel(ORVSmrPtr<CSubscriberID> subscriberID,
                                                   const ORVString& localHostName,
                                                   const ORVString& localPortNumber,
                                                   ORVSmrPtr<CSubscriberNetworkConnection> connection, int) {
    _record(fmt::format("registerNotificationChannel {}", subscriberID->toString().view()) +
            at(localHostName, localPortNumber));
    if (onChannel) {
        onChannel(*connection);
    }
}

void RecordingManager::heartBeat(ORVSmrPtr<CSubscriberID>& subscriberID) {
    _record(fmt::format("heartBeat {}", subscriberID->toString().view()));
}

ORVSmrPtr<CIndicationNotifier> RecordingManager::getIndicationNotifier() const {
    return {};
}

}  // namespace velm::test
