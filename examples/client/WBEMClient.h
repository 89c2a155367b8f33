#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A small client of velmd: intrinsic method calls on one connection, which stays open (DSP0200).
///
/// Used by one thread. Failure: boost::system::system_error when the server cannot be reached or the
/// connection breaks, std::runtime_error with the server's own words when it refuses a request.
class WBEMClient {
public:
    /// Names and the elements inside IPARAMVALUE.
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    WBEMClient(const std::string& host, const std::string& port);
    ~WBEMClient();

    /// Where this client's end of the connection is.
    std::string localAddress() const;
    std::string localPort() const;

    /// Sends the call to the namespace whose indications the server routes. Returns the body of the response.
    std::string call(const std::string& method, const Parameters& parameters);

    /// The body of the next message that the server sends by itself on this connection; nothing when it has
    /// closed it.
    std::optional<std::string> next();

    /// VALUE, CLASSNAME.
    static std::string value(const std::string& text);
    static std::string className(const std::string& name);

    /// The parameters that name a subscriber.
    static Parameters subscriber(const std::string& host, const std::string& port, unsigned int session);

private:
    struct State;
    std::unique_ptr<State> _state;
};
