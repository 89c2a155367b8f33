#pragma once

#include "foundation/services/IProvider.h"
#include "foundation/services/ProviderEntry.h"
#include "providers/network_links/LinkModel.h"
#include "providers/network_links/LinkTable.h"
#include "providers/network_links/RouteSocket.h"
#include "providers/support/Reporter.h"
#include "providers/support/WatcherThread.h"

#include <chrono>
#include <string>

namespace velm::network_links {

/// Reports what happens to the network links and addresses of this machine, in the network namespace of the
/// thread that creates the provider.
///
/// From the moment it is loaded: creation and destruction of CIM_EthernetPort, for each link that speaks
/// Ethernet (loopback does not), and of CIM_IPProtocolEndpoint, for each IPv4 and IPv6 address of any link.
/// While somebody is registered for it, by instance or by class: change of either, with the names of the
/// properties that changed. Nobody registered, a message about a link is only noted, and its driver is not
/// asked for its speed. What LinkModel says of the properties holds; a link that is renamed is destroyed and
/// created.
///
/// When the kernel drops messages, a line says so and everything is read anew and compared with what was
/// reported. A message that does not come from the kernel is ignored.
///
/// Threads: provider operations on any thread; indications come from one thread of the provider's own, so an
/// observer that waits inside notify() delays what follows. Failure: the constructor throws std::system_error
/// when the kernel does not tell the network's state.
class NetworkLinksProvider : public IProvider {
public:
    /// `context.argument` must be empty; std::invalid_argument says so otherwise.
    explicit NetworkLinksProvider(const ProviderContext& context);
    ~NetworkLinksProvider() override;

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
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override;
    InstanceNames enumerateInstanceNames(const ORVString& nameSpace, const ORVString& className,
                                         ORVSmrPtr<IOrvoTransaction> transaction) override;

private:
    using Name = ORVSmrPtr<IOrvoInstanceName>;
    using Clock = std::chrono::steady_clock;

    /// What a name names: one object or, without a key, a class of them, of either kind or of both.
    struct Subject {
        bool concernsPorts = false;
        bool concernsEndpoints = false;
        std::string key;
    };
    Subject _subjectOf(const Name& name) const;

    providers::WatcherThread::Patience _turn() noexcept;
    void _receive();
    void _lose(const ORVString& why);
    void _catchUp();

    const LinkModel _model;
    const ORVString _nameSpace;
    providers::Reporter _reporter;
    RouteSocket _socket;
    LinkTable _table;

    /// Whether messages were lost, and when to read everything anew; the watcher's thread only.
    bool _hasLost = false;
    Clock::time_point _catchUpDue;

    providers::WatcherThread _thread;
};

}  // namespace velm::network_links
