#pragma once

#include "velmd/faces/HostCheck.h"
#include "velmd/faces/KeptTables.h"
#include "velmd/http/HTTPServer.h"
#include "velmd/status/ServerStatus.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace velm {

/// What the daemon shows of itself to whoever looks with GET: the status page and its style, the diagnostic
/// tables, /healthz, /readyz, /metrics, /status.json and the record of indications at /log.
///
/// Nothing here changes anything, and nothing is answered to a request that names another host (421). No
/// answer holds a script or lets one run; see docs/design/faces.md. The tables are a document for who accepts
/// HTML, and the library's exact output as plain text for everybody else; with `?excerpt` their beginning,
/// which may be some seconds old.
///
/// An operation that a page of another host sends is refused (403): browsers name the page in `Origin`, and a
/// name that leads here (DNS rebinding) would let the page read what the operation answers.
///
/// Threads: any number, as far as the functions in `Sources` allow. Failure: what those throw.
class Faces {
public:
    struct Sources {
        std::function<status::ServerStatus()> status;
        std::function<std::string(const status::ServerStatus&)> json;
        /// The text that Prometheus reads.
        std::function<std::string(const status::ServerStatus&)> metrics;
        /// Both diagnostic tables, and the second of them alone: that of the classes. They write until the
        /// stream takes no more.
        KeptTables::Dump dumpTables;
        KeptTables::Dump dumpClassTable;
        /// Why the server does not get on; empty when it does.
        std::function<std::string()> illness;
        /// Why the server is not ready for clients; empty when it is.
        std::function<std::string()> notReady;
        /// The record of indications.
        std::filesystem::path indicationsLog;
        /// What this server and this machine are called.
        std::string hostName;
        std::string machineName;
    };

    explicit Faces(Sources sources);
    Faces(const Faces&) = delete;
    Faces& operator=(const Faces&) = delete;

    /// Whether it is for handle() rather than for the operations. Does not block and does not throw.
    static bool isFor(const HTTPRequest& request);

    /// The answer, or nothing for an operation that may go on to whoever carries it out.
    std::optional<HTTPResponse> handle(const HTTPRequest& http) const;

private:
    struct Request;
    using Answer = HTTPResponse (Faces::*)(const Request&) const;
    struct Face {
        std::string_view path;
        Answer answer;
    };
    static const Face faces[];

    static const Face* _find(std::string_view path);
    std::optional<HTTPResponse> _refuseHost(const Request& request) const;
    std::optional<HTTPResponse> _refuseOrigin(const HTTPRequest& http) const;

    HTTPResponse _page(const Request& request) const;
    HTTPResponse _style(const Request& request) const;
    HTTPResponse _tables(const Request& request) const;
    HTTPResponse _excerpt() const;
    HTTPResponse _health(const Request& request) const;
    HTTPResponse _readiness(const Request& request) const;
    HTTPResponse _metrics(const Request& request) const;
    HTTPResponse _json(const Request& request) const;
    HTTPResponse _log(const Request& request) const;

    const Sources _sources;
    const HostCheck _hostCheck;
    mutable KeptTables _keptTables;
};

}  // namespace velm
