#pragma once

#include "velmctl/client/LocalConnection.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace velm {

/// What velmd tells about itself to those who GET it. Each request has a connection of its own.
///
/// Used by one thread. Failure: ClientError; unknownPage when the server does not have the page.
class FaceClient {
public:
    static constexpr std::chrono::milliseconds usualPatience{30000};
    /// For those who ask again and again, and want to be told to stop meanwhile.
    static constexpr std::chrono::milliseconds shortPatience{5000};

    explicit FaceClient(HostPort server, std::chrono::milliseconds patience = usualPatience)
        : _server(std::move(server)), _patience(patience) {}

    const HostPort& server() const noexcept { return _server; }

    /// The JSON document of the server's status.
    std::string status() const { return _get("/status.json").body; }

    /// The diagnostic tables, HTML.
    std::string tables() const { return _get("/tables").body; }

    /// A part of the indications log.
    struct LogPart {
        std::string text;
        /// Where it begins and where the log ended, in bytes from the start of the log.
        std::uint64_t begin = 0;
        std::uint64_t size = 0;

        std::uint64_t end() const noexcept { return begin + text.size(); }
    };
    /// What stands from this byte on, not necessarily to the end; a log that is shorter now from its start
    /// on.
    LogPart logFrom(std::uint64_t begin) const;
    /// Its last bytes, so many where there are.
    LogPart logEnd(std::uint64_t bytes) const;

private:
    LocalConnection::Response _get(const std::string& target) const;
    LogPart _log(const std::string& target) const;

    HostPort _server;
    std::chrono::milliseconds _patience;
};

}  // namespace velm
