#pragma once

#include "velmctl/client/HostPort.h"

#include <optional>
#include <string>

namespace velm {

/// The version of this program, which is that of the daemon that it was made with.
std::string ownVersion();

/// What is to be said where the daemon's version is another one: with both of them. Nothing where it is this
/// program's.
std::optional<std::string> versionDifference(const HostPort& server, const std::string& daemonVersion);

/// Who listens there, as far as they tell, for a request that they do not know.
struct Peer {
    bool isDaemon = false;
    /// Empty for a daemon too old to tell.
    std::string version;
};

/// Asks. Throws ClientError when nobody answers.
Peer askWho(const HostPort& server);

}  // namespace velm
