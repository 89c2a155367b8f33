#pragma once

#include <string>
#include <string_view>

namespace velm {

/// Tells whether a request was meant for this server. A page from elsewhere whose name is made to lead to a
/// loopback address (DNS rebinding) reaches the server with that name in its requests; nobody else does.
///
/// Immutable; any number of threads.
class HostCheck {
public:
    /// `hostName` is what this server is called, `machineName` the machine; either may be empty.
    HostCheck(std::string hostName, std::string machineName);

    /// Whether an authority ("127.0.0.1:5988", "[::1]", "localhost") names a loopback address, localhost,
    /// this machine or this server, with any port. Letter case and a final dot make no difference.
    bool isOwn(std::string_view authority) const;

private:
    const std::string _hostName;
    const std::string _machineName;
};

}  // namespace velm
