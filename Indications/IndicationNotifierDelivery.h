#pragma once

#include "Indications/DeliveryRecords.h"
#include "Indications/IndicationNotifier.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/services/ORVLog.h"
#include "foundation/subscribers/CSubscriber.h"
#include "foundation/subscribers/CSubscriberNetworkConnection.h"
#include "foundation/subscribers/ISubscriberManager.h"
#include "foundation/utilities/ORVSemaphore.h"
#include "foundation/utilities/ORVString.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <istream>
#include <latch>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

/// All that the delivery thread uses: shared by the thread and its notifier, whichever lives longer.
///
/// Threads: run() and the steps below on the delivery thread, the other operations on any thread.
///
/// Failure: what goes wrong with one delivery is logged here, and the manager is asked here to remove the
/// subscriber. The order of the steps and the texts of their log lines are relied on by those who watch the
/// server log.
class CIndicationNotifier::CDelivery {
public:
    using SubscriberList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>>;
    using IndicationList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoIndication>>>;

    CDelivery(const ORVSmrPtr<ISubscriberManager>& subscriberManager, LocalAddressTest isLocalAddress);
    CDelivery(const CDelivery&) = delete;
    CDelivery& operator=(const CDelivery&) = delete;

    /// The thread tells, and the notifier's constructor waits for it, that the thread has its share of this
    /// object.
    void markTaken() { _taken.count_down(); }
    void awaitTaken() const { _taken.wait(); }

    /// Makes a pass every second until shutdown() or detachManager().
    void run();

    void shutdown();
    void detachManager() noexcept;
    Progress getProgress() const noexcept;
    const std::shared_ptr<velm::DeliveryRecords>& records() const noexcept { return _records; }

protected:
    /// Sends what the current subscribers have queued. Throws what keeps it from going on.
    void _pass();

    /// Sends `indications` in order, up to and including the first that fails.
    void _fireindications(ORVSmrPtr<CSubscriber>& subscriber, IndicationList& indications);

    /// Sends one indication on the way that the subscriber chose; answers whether it was delivered. Throws
    /// only when the subscriber has no identity to send to.
    bool _fire(ORVSmrPtr<CSubscriber>& subscriber, ORVSmrPtr<IOrvoIndication>& indication);
    bool _fireNonPersistent(ORVSmrPtr<CSubscriber>& subscriber, ORVSmrPtr<IOrvoIndication>& indication);
    bool _firePersistent(ORVSmrPtr<CSubscriber>& subscriber, ORVSmrPtr<IOrvoIndication>& indication,
                         ORVSmrPtr<CSubscriberNetworkConnection>& connection);

    /// The parts of a message. Those that end one need an ORVGenericHTTPOStream and throw std::bad_cast
    /// otherwise.
    void _firePersistentHTTPHeader(std::ostream* out);
    void _fireXMLHeader(std::ostream* out, ORVSmrPtr<IOrvoIndication>& indication, bool persistent);
    void _fireXML(std::ostream* out, ORVSmrPtr<IOrvoIndication>& indication, ORVString& localHost,
                  ORVString& localPort, bool persistent);
    void _fireXMLTrailer(std::ostream* out, ORVSmrPtr<IOrvoIndication>& indication, bool persistent);

    /// Reads the listener's answer, logs what is wrong with it, and answers the same for the records; empty
    /// for a good answer. Throws nothing: an indication that was sent counts as delivered whatever the
    /// listener made of it.
    std::string _handleFireResponse(std::istream* in, ORVString& host, ORVString& port);

    /// Throws the fatal assertion when there is no stream to read an answer from.
    static void _requireResponseStream(const std::istream* in);

    /// Records a delivery in the indications log when recording is on. Throws nothing.
    void _logIndication(ORVString& host, ORVString& port, ORVSmrPtr<IOrvoIndication>& indication);

private:
    /// As _fire(). What that throws passes, with a note of the failure and of those `behind` the indication.
    bool _fireOrNote(ORVSmrPtr<CSubscriber>& subscriber, ORVSmrPtr<IOrvoIndication>& indication,
                     std::uint64_t behind);
    void _noteDelivery(const CSubscriber& subscriber, const IOrvoIndication& indication,
                       std::string_view fault) noexcept;

    /// The manager's list; a null handle when there is none, also once the manager is detached. Throws
    /// ORVNullPointerException when the notifier was given no manager.
    SubscriberList _getCurrentSubscribers();

    /// Asks the manager to remove `subscriber`; does nothing once the manager is detached. Throws
    /// ORVNullPointerException when the notifier was given no manager.
    void _removeSubscriber(const CSubscriber& subscriber, bool informConnectionMonitor,
                           bool cleanupDeletedSubscribers);

    const LocalAddressTest _isLocalAddress;
    std::latch _taken{1};

    /// Calls `operation` with the manager unless it is detached; detachManager() waits until it has returned.
    /// No lock is held meanwhile, because the manager may call providers.
    template <class Operation>
    void _callManager(Operation operation);

    // The gate. Guards all below up to the semaphore.
    std::mutex _managerGate;
    std::condition_variable _managerLeft;
    ORVSmrPtr<ISubscriberManager> _subscriberManager;
    bool _isDetached = false;
    bool _isInsideManager = false;
    std::thread::id _deliveryThread;

    const std::shared_ptr<velm::DeliveryRecords> _records = std::make_shared<velm::DeliveryRecords>();
    /// Written by the delivery thread alone.
    std::atomic<std::uint64_t> _inHand{0};

    ORVSemaphore _shutdownSemaphore{0};
};

namespace velm {

/// Writes a line of the delivery thread to the server log.
inline void logDeliveryLine(const ORVString& location, const ORVString& message,
                            OrvoTraceLog::Severity severity) {
    ORVLog::log(location, message, severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

/// The time stamp of the indications log, in local time: "20-Nov-2026 15:33:42.007 - ".
ORVString indicationsLogTime(const timespec& time);

}  // namespace velm
