#pragma once

#include "velmctl/client/Subscription.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velm {

/// What the commands that subscribe are told to subscribe to.
class SubscriptionOptions {
public:
    using FindRoots = std::function<std::vector<std::string>()>;

    void declare(CLI::App& command);

    /// One for each event and each class. `findRoots` is asked for the classes at the roots of the class tree
    /// when every class is meant and the server wants one named. A subscription to creations hears of
    /// destructions, too, so that one is made for both. Throws CommandLineMistake for options that do not
    /// fit together, ClientError for an instance that is none.
    std::vector<Subscription> subscriptions(const FindRoots& findRoots) const;

    /// The same, with the roots of the class tree of this server.
    std::vector<Subscription> subscriptionsAt(const HostPort& server) const;

    /// Whether an indication of this event was asked for: who wants to hear of creations only is told of
    /// destructions all the same.
    bool shows(const std::string& event) const;

    /// Empty: changes of what is named more closely; additions and removals where ends are named; otherwise
    /// changes, creations and destructions.
    std::vector<std::string> events;
    std::vector<std::string> classes;
    std::string instance;
    std::vector<std::string> properties;
    std::string endOne;
    std::string endTwo;

private:
    void _check() const;
    std::vector<std::string> _wantedEvents() const;
    bool _wants(const std::string& event) const;
    std::vector<std::string> _wireEvents() const;
};

}  // namespace velm
