#pragma once

#include "velmctl/client/HostPort.h"
#include "velmctl/output/Output.h"
#include "velmd/status/ServerStatus.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// A subscriber as somebody types it: HOST:PORT for every session there, HOST:PORT/SESSION for one.
struct SubscriberName {
    HostPort address;
    std::optional<std::string> session;

    /// Throws ClientError (badAddress).
    static SubscriberName parse(std::string_view text);

    std::string text() const;

    template <class Subscriber>
    bool names(const Subscriber& subscriber) const {
        return subscriber.host == address.host && subscriber.port == address.port &&
               (!session || subscriber.session == *session);
    }
};

/// "127.0.0.1:5990/1", fit for a terminal.
template <class Subscriber>
std::string nameOf(const Subscriber& subscriber);

/// "3 min ago", "now".
std::string agoText(status::Time now, status::Time time);

/// "failed to connect: Connection refused (12 in a row, since 3 min, last 2 s ago)".
std::string failureText(const status::Failure& failure, status::Time now);
/// The same of a drop, whose text has its count.
std::string dropText(const status::Failure& drop, status::Time now);

/// How the state of a server is shown.
struct StatusView {
    std::string server;
    std::size_t width = 80;
    /// How many subscribers are listed beside those that fail.
    std::size_t maxSubscribers = 40;
};

/// Whether it took back all that it subscribed to, and nothing waits for it. The daemon forgets it by itself,
/// when it has not heard of it for a while.
bool hasLeft(const status::Subscriber& subscriber);

/// Health, counts, rates, providers, and the subscribers, those that fail first and those that left last. Any
/// thread.
std::vector<std::string> statusLines(const status::ServerStatus& status, const StatusView& view,
                                     const Output& output);

/// Whether indications get through at all: the server is ready and routes them.
bool isHealthy(const status::ServerStatus& status);

}  // namespace velm
