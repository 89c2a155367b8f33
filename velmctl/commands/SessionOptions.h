#pragma once

#include <chrono>
#include <optional>

namespace CLI {
class App;
}

namespace velm {

/// What commands that stay subscribed are told about their session.
class SessionOptions {
public:
    void declare(CLI::App& command);

    /// Tells subscribers on one host and port apart.
    unsigned int number() const;
    /// Between two heartbeats.
    std::chrono::seconds interval() const { return std::chrono::seconds(_heartbeat); }
    /// How long a request may take to a daemon that is asked for a sign of life so often: Ctrl-C waits for no
    /// more than that.
    std::chrono::milliseconds patience() const;

private:
    std::optional<unsigned int> _session;
    int _heartbeat = 20;
};

}  // namespace velm
