#pragma once

#include "velmctl/client/Subscription.h"
#include "velmctl/client/WBEMClient.h"

#include <chrono>
#include <optional>
#include <vector>

namespace velm {

/// A subscriber's side of its subscriptions: makes them, keeps an eye on the daemon, and takes them back.
///
/// Used by one thread. Failure: as WBEMClient.
class Subscriber {
public:
    /// `identity` names it, as WBEMClient::subscriber() does.
    Subscriber(HostPort server, WBEMClient::Parameters identity, std::vector<Subscription> subscriptions,
               std::chrono::milliseconds patience);

    /// Makes every subscription. Those that were made are taken back when one is refused.
    void subscribe();

    /// Connects anew and makes every subscription anew. Answers whether the daemon still had them all.
    bool resubscribe();

    /// Tells the daemon that this subscriber is alive, and learns whether the daemon is.
    void sendHeartBeat();

    /// Takes every subscription back, over a connection of its own, in `patience` for each. Answers whether
    /// the daemon had them all.
    bool unsubscribe(std::chrono::milliseconds patience);

    /// Becomes readable when the daemon closes the connection; -1 when there is none.
    int descriptor() const noexcept { return _connection ? _connection->descriptor() : -1; }

    std::size_t size() const noexcept { return _subscriptions.size(); }

private:
    bool _call(WBEMClient& client, const char* method, const Subscription& subscription);
    void _connect();
    void _subscribeToAll();

    const HostPort _server;
    const WBEMClient::Parameters _identity;
    const std::vector<Subscription> _subscriptions;
    const std::chrono::milliseconds _patience;
    std::optional<WBEMClient> _connection;
};

}  // namespace velm
