#pragma once

#include "tests/support/SampleStatus.h"
#include "velmd/faces/Faces.h"
#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

namespace velm::test {

/// Serves the faces of a status that a test made up. `change` may spoil answers on their way.
///
/// Threads: any. The destructor stops it.
class FaceServer {
public:
    using Change = std::function<void(HTTPResponse&)>;

    explicit FaceServer(const status::ServerStatus& status, const std::string& tables = "<TABLE></TABLE>",
                        Change change = {})
        : _faces(sources(status, tables)),
          _change(std::move(change)),
          _server(options(), [this](const HTTPRequest& request) { return _answer(request); }) {}

    std::string address(const std::string& target) const {
        return "http://127.0.0.1:" + std::to_string(_server.port()) + target;
    }

    std::size_t requestsFor(const std::string& target) const {
        const std::lock_guard lock(_lock);
        const auto found = _requests.find(target);
        return found == _requests.end() ? 0 : found->second;
    }

private:
    static HTTPServer::Options options() {
        HTTPServer::Options options;
        options.addresses = {"127.0.0.1"};
        options.port = 0;
        return options;
    }

    static Faces::Sources sources(const status::ServerStatus& status, const std::string& tables) {
        Faces::Sources sources;
        sources.status = [status] { return status; };
        sources.dumpTables = [tables](std::ostream& out) { out << tables; };
        sources.dumpClassTable = [](std::ostream& out) { out << "<TABLE BORDER></TABLE>"; };
        sources.illness = [] { return std::string(); };
        return sources;
    }

    HTTPResponse _answer(const HTTPRequest& request) {
        {
            const std::lock_guard lock(_lock);
            ++_requests[request.target];
        }
        HTTPResponse response = _faces.handle(request).value_or(HTTPResponse());
        if (_change) {
            _change(response);
        }
        return response;
    }

    const Faces _faces;
    const Change _change;
    mutable std::mutex _lock;
    std::map<std::string, std::size_t> _requests;
    HTTPServer _server;
};

}  // namespace velm::test
