#pragma once

#include <string>

namespace velm {

/// Connects to `host` (a name or an address, IPv6 without brackets, a scope allowed) and a numeric `port`.
/// The addresses of a name are tried in turn, within `timeout` milliseconds in all, looking the name up
/// included; 0 for no limit. Answers the connected socket, which the caller owns and child processes do not
/// inherit. Throws ORVNetException, whose code is an errno, or negative when the name cannot be resolved. Any
/// thread.
int connectSocket(const std::string& host, const std::string& port, long timeout);

}  // namespace velm
