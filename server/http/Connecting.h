#pragma once

#include <string>
#include <sys/socket.h>

namespace velm {

/// A connected socket, which whoever gets it owns, and the address that it is connected to.
struct Connection {
    int socket;
    sockaddr_storage peer;
};

/// Connects to `host` (a name or an address, IPv6 without brackets, a scope allowed) and a numeric `port`.
/// The addresses of a name are tried in turn, within `timeout` milliseconds in all, looking the name up
/// included; 0 for no limit. Child processes do not inherit the socket. Throws ORVNetException, whose code is
/// an errno, or negative when the name cannot be resolved. Any thread.
Connection connectSocket(const std::string& host, const std::string& port, long timeout);

}  // namespace velm
