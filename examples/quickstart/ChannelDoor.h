#pragma once

#include "Indications/IIndicationManager.h"

#include <functional>
#include <memory>
#include <thread>

/// Where clients open channels and send heartbeats: a loopback port that serves the requests
/// RegisterNotificationChannel and HeartBeat, one at a time.
///
/// Threads: a thread of its own calls the manager and `onEvent`. The destructor stops it. Failure: the
/// constructor throws std::system_error; a request that cannot be served is answered with HTTP status 400.
class ChannelDoor {
public:
    /// Hears of each channel that was opened, and of each heartbeat.
    using Event = std::function<void(const std::string& what, const CSubscriberID& who)>;

    /// Requires: `manager` outlives this object.
    ChannelDoor(IIndicationManager& manager, Event onEvent);
    ~ChannelDoor();

    unsigned short port() const;

private:
    struct State;
    std::unique_ptr<State> _state;
    std::thread _thread;
};
