#pragma once

#include "velmctl/client/LocalConnection.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

struct XMLElement;

/// The namespace whose indications the server routes.
inline constexpr const char* routedNamespace = "root/kob/talmora";

/// A small client of velmd: intrinsic method calls on one connection, which stays open (DSP0200).
///
/// Used by one thread. Failure: ClientError, with the server's own words when it refuses a request.
class WBEMClient {
public:
    /// Names and the elements inside IPARAMVALUE.
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    static constexpr std::chrono::milliseconds usualPatience{30000};

    explicit WBEMClient(const HostPort& server, std::string nameSpace = routedNamespace,
                        std::chrono::milliseconds patience = usualPatience);

    const HostPort& server() const noexcept { return _connection.peer(); }
    const std::string& nameSpace() const noexcept { return _nameSpace; }
    /// This client's end of the connection.
    HostPort local() const { return _connection.local(); }
    /// Becomes readable when the server says something, or closes.
    int descriptor() const noexcept { return _connection.descriptor(); }
    bool hasUnread() const noexcept { return _connection.hasUnread(); }

    /// Sends the call. Returns the body of the response.
    std::string call(const std::string& method, const Parameters& parameters);

    /// The same; returns the children of the response's IRETURNVALUE, none when there is no such element.
    std::vector<XMLElement> callForElements(const std::string& method, const Parameters& parameters);

    /// The same for a method that returns a boolean.
    bool callForFlag(const std::string& method, const Parameters& parameters);

    /// The body of the next message that the server sends by itself on this connection; nothing when it has
    /// closed it.
    std::optional<std::string> next();

    /// VALUE with this text, VALUE.ARRAY of such, CLASSNAME.
    static std::string value(std::string_view text);
    static std::string values(const std::vector<std::string>& texts);
    static std::string className(std::string_view name);

    /// The parameters that name a subscriber.
    static Parameters subscriber(const HostPort& listener, unsigned int session);

private:
    std::string _exchange(const std::string& method, const Parameters& parameters);
    [[noreturn]] void _failUnreadable(std::string_view problem) const;
    XMLElement _response(const std::string& document) const;

    LocalConnection _connection;
    const std::string _nameSpace;
};

}  // namespace velm
