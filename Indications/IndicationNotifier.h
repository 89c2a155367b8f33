#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/ISubscriberManager.h"
#include "foundation/utilities/ORVString.h"
#include "foundation/utilities/ORVThread.h"

#include <cstdint>
#include <memory>

namespace velm {
class DeliveryRecords;
}

/// The one thread that sends queued indications to their subscribers, and the log of what it sent.
///
/// Once a second it asks the manager for the current subscribers, takes each one's queue and sends it in
/// order: a new HTTP request per indication to a subscriber that listens, or a write on the channel that the
/// subscriber keeps open. A failed send ends that subscriber's batch; what was queued behind it is dropped,
/// and the log says how much. A subscriber that cannot be sent to is reported to the manager for removal,
/// unless it listens on this machine.
///
/// Threads: every operation on any thread. The thread starts in the constructor.
///
/// Ownership: the notifier shares the manager's handle until detachManager(). The thread shares with the
/// notifier all that it uses, so that the notifier may be destroyed while a listener keeps the thread
/// waiting: the destructor never waits for the network, and the thread ends by itself once the pass it is in
/// is done.
///
/// Failure: nothing that happens in a pass ends the thread; it is logged, and the next pass comes a second
/// later.
class VELM_EXPORT CIndicationNotifier : public ORVThread {
public:
    /// Starts the thread, opens the indications log if no notifier of this process has opened it yet, and
    /// notes the start there. Throws OrvoBaseException when the system has no thread to give.
    explicit CIndicationNotifier(ORVSmrPtr<ISubscriberManager> subscriberManager);

    /// Closes the indications log, for the rest of the process: a later notifier does not reopen it. Does
    /// what detachManager() does.
    ~CIndicationNotifier() override;

    /// Asks the thread to end and returns at once. A pass in progress is finished first: the indications that
    /// it has taken are still sent.
    void shutdown();

    /// Drops the manager's handle for good and lets the thread end as shutdown() does. When it returns, the
    /// thread is not inside the manager and will never call it again. Waits for a call that is under way,
    /// never for the network. May be called twice. Requires: no lock that the manager takes in
    /// `removeSubscriber` or `getCurrentSubscribers`.
    void detachManager() noexcept;

    /// How far the thread is with its work. Nothing is being delivered when as many passes have ended as have
    /// begun.
    struct Progress {
        std::uint64_t passesBegun;
        std::uint64_t passesEnded;
        /// Indications taken from a queue whose delivery has not ended yet.
        std::uint64_t inHand;
    };
    Progress getProgress() const noexcept;

    /// What the thread has done so far; shared with the manager, which keeps its own there.
    const std::shared_ptr<velm::DeliveryRecords>& records() const noexcept;

    /// Switches the recording of deliveries in the indications log on or off, for all notifiers of this
    /// process, from the next delivery on. It starts switched off. Neither opens nor closes the file.
    static void logIndications(bool on);
    static bool logsIndications();

    /// Writes a marker line into the indications log, if that is open.
    static void placeMarker();

    /// Empties the indications log and leaves it open, if that is open.
    static void clearIndicationsLog();

    /// The absolute path of the indications log: "LegacyIndicationsLog.txt" in the directory "Log"/"LogDir"
    /// of the configuration (default "."), as that is set now.
    static ORVString getIndicationsLogFileName();

protected:
    class CDelivery;

    /// Answers whether a host is this machine, as ORVNetUtil::isLoopBackAddress does.
    using LocalAddressTest = bool (*)(const ORVString& host, int addressFamily);

    /// The same with another way to tell which subscribers listen on this machine.
    CIndicationNotifier(ORVSmrPtr<ISubscriberManager> subscriberManager, LocalAddressTest isLocalAddress);

    /// The thread's body. Uses nothing of this object once the constructor has returned.
    void execute() override;

private:
    static void _startIndicationsLog();
    static void _endIndicationsLog();
    static ORVString _getCurrentTime();

    const ORVSmrPtr<CDelivery> _delivery;
};
