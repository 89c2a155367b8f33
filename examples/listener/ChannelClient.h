#pragma once

#include "examples/listener/ExportMessage.h"

#include <functional>
#include <memory>
#include <string>

/// A subscriber that receives its export messages on a connection that it opened itself.
///
/// It asks the server for a channel (RegisterNotificationChannel), and from then on each export message
/// arrives on that connection in the form of an HTTP response. Heartbeats go out on connections of their own.
/// Used by one thread. Failure: std::system_error or std::runtime_error when the server cannot be reached,
/// refuses, or ends the channel.
class ChannelClient {
public:
    using Receive = std::function<void(const ExportMessage&)>;

    /// Registers as subscriber `host`:`port`, session `session`, at the server.
    ChannelClient(const std::string& serverHost, const std::string& serverPort, unsigned int session);
    ~ChannelClient();

    /// The identity of the server's run, from its response.
    const std::string& serverSession() const;

    /// Tells the server that this subscriber is alive.
    void sendHeartBeat();

    /// Hands each message to `receive`; returns when the server closes the channel.
    void run(const Receive& receive);

private:
    struct State;
    std::unique_ptr<State> _state;
};
