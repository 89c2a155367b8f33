#pragma once

#include "foundation/Export.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/subscribers/CSubscriberNetworkConnection.h"
#include "foundation/subscribers/ISubscriberManager.h"

#include <iosfwd>

class CIndicationNotifier;

/// How a CIM server drives the indication subsystem.
///
/// Request handlers subscribe and unsubscribe clients, register channels and pass heartbeats on; providers
/// report indications through notify(). Any thread may call any operation at any time between construction
/// and destruction of the manager. The order of the virtual operations is part of the binary interface.
///
/// Provider calls that an operation causes run on the caller's thread, after every lock is released.
class VELM_EXPORT IIndicationManager : public ISubscriberManager, public IOrvoSubscriber {
public:
    IIndicationManager();
    ~IIndicationManager() override;

    /// Subscribes a client to indications of `type` about one instance or, with `classWide`, about every
    /// instance of its class and of the classes below it.
    ///
    /// `filter` names the properties of interest; a null handle stands for all. `localHostName` and
    /// `localPortNumber` are the server's address as this client knows it; they are kept for a client that is
    /// new. Answers true. What a provider throws from registerObserver reaches the caller; the subscription
    /// then stands all the same.
    virtual bool subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoInstanceName> instanceName,
                           ORVSmrPtr<IOrvoSubscriptionFilter> filter, IOrvoIndication::IndicationType type,
                           const ORVString& localHostName, const ORVString& localPortNumber,
                           const bool& classWide) = 0;

    /// Takes one such subscription back; answers false when the client has none under that name.
    virtual bool unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoInstanceName> instanceName,
                             ORVSmrPtr<IOrvoSubscriptionFilter> filter, IOrvoIndication::IndicationType type,
                             const bool& classWide) = 0;

    /// Subscribes a client to indications of any `type` but IndicationChange about a class.
    ///
    /// `classValue` names the class as a string, or is a reference to the one instance of interest; null
    /// means any class. `endOne` and `endTwo` are the ends of an association or relationship: a class name,
    /// or a reference to one instance; only the types that have ends read them, and those need both. Answers
    /// true. Throws CIMOMException with code 5 when a class is unknown, ORVNullPointerException for a type
    /// that has no such subscription; what a provider throws from registerObserver reaches the caller, and
    /// the subscription then stands all the same.
    virtual bool subscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                           ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                           IOrvoIndication::IndicationType type, const ORVString& localHostName,
                           const ORVString& localPortNumber) = 0;

    /// Takes one such subscription back; answers false when the client is unknown or has none. Throws as
    /// subscribe() does, but for a type that has no such subscription only where others stand.
    virtual bool unsubscribe(ORVSmrPtr<CSubscriberID> subscriberID, ORVSmrPtr<IOrvoValue>& classValue,
                             ORVSmrPtr<IOrvoValue>& endOne, ORVSmrPtr<IOrvoValue>& endTwo,
                             IOrvoIndication::IndicationType type) = 0;

    /// Delivers to this client on `connection` from now on, in place of whatever subscriber it was before.
    ///
    /// Writes the end of the response on the connection: RETURNVALUE with this run's session identity, and
    /// the closing tags. Requires: the caller has written the response up to the opening of IMETHODRESPONSE.
    /// The last argument is not used. Throws what the connection throws; the client is then unknown.
    virtual void registerNotificationChannel(ORVSmrPtr<CSubscriberID> subscriberID,
                                             const ORVString& localHostName, const ORVString& localPortNumber,
                                             ORVSmrPtr<CSubscriberNetworkConnection> connection, int) = 0;

    /// Notes that a client is alive. Never throws; an unknown client is ignored.
    virtual void heartBeat(ORVSmrPtr<CSubscriberID>& subscriberID) = 0;

    /// Takes an indication that a provider reports and queues it at every subscriber that wants it.
    ///
    /// Answers true only when the last list of a class, or of "*", that a change was offered to queued it.
    /// While indications are disabled it answers false and does nothing. Throws ORVNullPointerException when
    /// the routing needs an object or an instance name that the indication has not: a null object always, a
    /// null name of a change, or where an instance has subscribers.
    bool notify(ORVSmrPtr<IOrvoIndication> indication) override = 0;

    /// Records a subscriber. Answers true, also when the connection monitor refused it.
    virtual bool addSubscriber(ORVSmrPtr<CSubscriber> subscriber) = 0;

    /// Removes every subscriber, the latest first. The flags are those of removeSubscriber.
    virtual void removeAllSubscribers(bool informConnectionMontitor, bool cleanupDeletedSubscribers) = 0;

    /// The first subscriber with this identity or, without `exactMatch`, the first one with another; a null
    /// handle when there is none. Requires: the manager's lock, or nobody else changes subscribers meanwhile.
    virtual const ORVSmrPtr<CSubscriber> findSubscriber(const CSubscriberID& subscriberID,
                                                        bool exactMatch) const = 0;

    /// Writes the subscriptions as two HTML tables, without page head or body. Names that clients chose are
    /// written as they are: whoever shows the tables must do so where no script runs. Stops when the
    /// stream takes no more.
    virtual void dump(std::ostream& ostr) = 0;

    /// The manager as the observer that providers report to. All handles share one count; they refer to
    /// nothing once the manager is gone.
    virtual ORVSmrPtr<IOrvoSubscriber> getSmartSubscriber() = 0;

    /// Indications are disabled until the server enables them. A notify() under way is not affected.
    virtual void enableIndications() = 0;
    virtual void disableIndications() = 0;
    virtual bool getIndicationsEnabled() const = 0;

    virtual ORVSmrPtr<CIndicationNotifier> getIndicationNotifier() const = 0;
};
