#include "Indications/IndicationManager.h"
#include "Indications/RemovalCause.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVLockGuard.h"

namespace {

void logRegistration(const ORVString& message) {
    // Existing log scrapers look for the monitor's name on these lines.
    ORVLog::log("CSubscriberNetworkConnectionMonitor::registerNotificationChannel", message,
                OrvoTraceLog::SeverityInformation, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

void logFailure(const char* message) {
    ORVLog::log("CIndicationManager::registerNotificationChannel", message, OrvoTraceLog::SeverityError,
                OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

void CIndicationManager::registerNotificationChannel(ORVSmrPtr<CSubscriberID> subscriberID,
                                                     const ORVString& localHostName,
                                                     const ORVString& localPortNumber,
                                                     ORVSmrPtr<CSubscriberNetworkConnection> connection,
                                                     int) {
    logRegistration("Received a RegisterNotificationChannel request for subscriber " +
                    subscriberID->toString());
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forWriting);
    lock.enter();
    try {
        const ORVSmrPtr<CSubscriber> previous = findSubscriber(*subscriberID, true);
        if (!previous.IsNull()) {
            const ORVSmrPtr<CSubscriberID> previousID = previous->getSubscriberID();
            logRegistration("Removing a previous subscribre record for subscriber " + previousID->toString());
            const velm::RemovalCause cause(velm::RemovalReason::channelReplaced);
            removeSubscriber(*previousID, true, false);
        }
        addSubscriber(ORVSmrPtr<CSubscriber>(
            new CSubscriber(subscriberID, localHostName, localPortNumber, connection)));
        _writeChannelResponse(*connection);
    } catch (...) {
        logFailure(
            "An unknown exception occured while adding a client's persistent connection, removing the "
            "subscriber.");
        try {
            const velm::RemovalCause cause(velm::RemovalReason::channelNotRegistered);
            removeSubscriber(*subscriberID, true, false);
        } catch (...) {
            logFailure("An unknown exception occured while removing a subscriber.");
        }
        lock.leave();
        _cleanupDeletedSubscribers();
        throw;
    }
    lock.leave();
    _cleanupDeletedSubscribers();
}

void CIndicationManager::_writeChannelResponse(CSubscriberNetworkConnection& connection) const {
    const ORVSmrPtr<ORVGenericHTTPOStream> stream = connection.getOutputStream();
    stream->getTransport().setSendTimeout(static_cast<long>(_sendTimeout));
    COrvoValue sessionID(_serverSessionID, COrvoType::uint32);
    // The attribute is TYPE, not PARAMTYPE: clients of this request read it under that name.
    *stream << "<RETURNVALUE TYPE=\"" << sessionID.getType()->getName() << "\">\n";
    CIMUtil::StreamValue(*stream, sessionID, true, false);
    *stream << "</RETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
    stream->flush();
}

void CIndicationManager::heartBeat(ORVSmrPtr<CSubscriberID>& subscriberID) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        const ORVSmrPtr<CSubscriber> subscriber = findSubscriber(*subscriberID, true);
        if (!subscriber.IsNull()) {
            subscriber->updateTimeStamp();
        }
    } catch (...) {
        // A heartbeat asks for nothing, so there is nobody to tell.
    }
}
