#include "velmctl/commands/Subscriber.h"

#include "velmctl/client/ClientError.h"

#include <utility>

namespace velm {

Subscriber::Subscriber(HostPort server, WBEMClient::Parameters identity,
                       std::vector<Subscription> subscriptions, std::chrono::milliseconds patience)
    : _server(std::move(server)),
      _identity(std::move(identity)),
      _subscriptions(std::move(subscriptions)),
      _patience(patience) {
}

bool Subscriber::_call(WBEMClient& client, const char* method, const Subscription& subscription) {
    WBEMClient::Parameters parameters = _identity;
    for (auto& parameter : subscription.parameters()) {
        parameters.push_back(std::move(parameter));
    }
    return client.callForFlag(method, parameters);
}

void Subscriber::_connect() {
    _connection.reset();
    _connection.emplace(_server, routedNamespace, _patience);
}

void Subscriber::_subscribeToAll() {
    std::size_t made = 0;
    try {
        for (; made < _subscriptions.size(); ++made) {
            _call(*_connection, "Subscribe", _subscriptions[made]);
        }
    } catch (const ClientError& error) {
        while (error.kind() == ClientError::Kind::refused && made > 0) {
            _call(*_connection, "Unsubscribe", _subscriptions[--made]);
        }
        throw;
    }
}

void Subscriber::subscribe() {
    _connect();
    _subscribeToAll();
}

bool Subscriber::resubscribe() {
    _connect();
    // A daemon that is silent must not find a heap of requests that undo each other when it wakes up.
    sendHeartBeat();
    bool stood = true;
    for (const Subscription& subscription : _subscriptions) {
        stood = _call(*_connection, "Unsubscribe", subscription) && stood;
    }
    _subscribeToAll();
    return stood;
}

void Subscriber::sendHeartBeat() {
    try {
        if (!_connection) {
            _connect();
        }
        _connection->call("HeartBeat", _identity);
    } catch (const ClientError&) {
        _connection.reset();
        throw;
    }
}

bool Subscriber::unsubscribe(std::chrono::milliseconds patience) {
    WBEMClient client(_server, routedNamespace, patience);
    bool stood = true;
    for (const Subscription& subscription : _subscriptions) {
        stood = _call(client, "Unsubscribe", subscription) && stood;
    }
    return stood;
}

}  // namespace velm
