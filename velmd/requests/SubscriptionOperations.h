#pragma once

#include "Indications/IIndicationManager.h"
#include "velmd/repository/Repository.h"
#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/OperationResult.h"
#include "velmd/requests/Parameters.h"
#include "velmd/requests/SubscriberLimit.h"

#include <string>

namespace velm {

/// This system's own requests, in the form of intrinsic calls: Subscribe, Unsubscribe,
/// RegisterNotificationChannel and HeartBeat. docs/protocol.md describes them for those who write clients.
///
/// Names reach the indication manager in the repository's spelling. Any thread may call the operations; they
/// throw CIMOMException with the status for the client: 1, with the text, when a provider throws anything
/// else as it is asked to watch; 27 for a subscriber that is one too many.
class SubscriptionOperations {
public:
    /// `maxSubscribers` is as SubscriberLimit has it. Requires: both references outlive this object.
    SubscriptionOperations(const Repository& repository, IIndicationManager& manager,
                           std::size_t maxSubscribers)
        : _repository(repository), _manager(manager), _limit(manager, maxSubscribers) {}

    OperationResult subscribe(const CIMRequest& request) const;
    OperationResult unsubscribe(const CIMRequest& request) const;
    OperationResult registerNotificationChannel(const CIMRequest& request) const;
    OperationResult heartBeat(const CIMRequest& request) const;

private:
    struct Subscription;
    class Target;

    Subscription _subscription(const CIMRequest& request) const;
    bool _subscribe(Subscription& wanted, const ORVString& localHost, const ORVString& localPort) const;
    static void _readChange(Subscription& subscription, const Parameters& parameters, const Target& target);
    static void _readEvent(Subscription& subscription, const Parameters& parameters, const Target& target);
    static ORVSmrPtr<IOrvoSubscriptionFilter> _filterIn(const Parameters& parameters,
                                                        const ORVString& className, const Target& target);
    void _openChannel(int socket, const ORVSmrPtr<CSubscriberID>& subscriber, const ORVString& localHost,
                      const ORVString& localPort, const std::string& opening) const;

    const Repository& _repository;
    IIndicationManager& _manager;
    mutable SubscriberLimit _limit;
};

}  // namespace velm
