#include "velmctl/commands/VersionCheck.h"

#include "velmctl/client/ClientError.h"
#include "velmctl/client/FaceClient.h"
#include "velmctl/client/StatusReader.h"
#include "velmctl/client/WBEMClient.h"
#include "velmctl/output/Text.h"

#include <fmt/format.h>

namespace velm {

namespace {

using Kind = ClientError::Kind;

constexpr std::size_t shownSize = 40;
constexpr std::chrono::seconds patience{5};

bool speaksCIM(const HostPort& server) {
    try {
        WBEMClient(server, routedNamespace, patience).call("EnumerateClassNames", {});
        return true;
    } catch (const ClientError& error) {
        if (error.kind() == Kind::refused) {
            return true;
        }
        if (error.kind() == Kind::noCIMServer) {
            return false;
        }
        throw;
    }
}

}  // namespace

std::string ownVersion() {
    return VELM_VERSION;
}

std::optional<std::string> versionDifference(const HostPort& server, const std::string& daemonVersion) {
    if (daemonVersion == ownVersion()) {
        return std::nullopt;
    }
    const std::string theirs = daemonVersion.empty()
                                   ? "an older velmd, which does not tell its version"
                                   : fmt::format("velmd {}", shortened(daemonVersion, shownSize));
    return fmt::format("the daemon at {} is {}, and this is velmctl {}", server.text(), theirs, ownVersion());
}

Peer askWho(const HostPort& server) {
    try {
        return {true, readStatus(FaceClient(server, patience).status()).version};
    } catch (const ClientError& error) {
        if (error.kind() != Kind::unknownPage && error.kind() != Kind::noCIMServer) {
            throw;
        }
    } catch (const std::runtime_error&) {
        // What is there may be a daemon all the same.
    }
    return {speaksCIM(server), {}};
}

}  // namespace velm
