#pragma once

#include "Indications/IndicationManager.h"
#include "velmd/daemon/StateDirectory.h"
#include "velmd/faces/Faces.h"
#include "velmd/faces/Liveness.h"
#include "velmd/http/HTTPServer.h"
#include "velmd/providers/ProviderFolder.h"
#include "velmd/providers/ProviderTable.h"
#include "velmd/repository/Repository.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/RequestHandler.h"
#include "velmd/settings/Settings.h"
#include "velmd/status/Collector.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velm {

/// The whole server: repository, indication library, providers and request front end, wired together.
///
/// Threads: constructed, stopped and destroyed by one thread; requests, providers and deliveries run on their
/// own meanwhile. One server in a process: the library's class registry is the process's.
///
/// Failure: the constructor throws what keeps the server from starting, with a text for the operator.
class Server {
public:
    /// Serves when it returns.
    explicit Server(const Settings& settings);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// "port 5988 of 127.0.0.1 and ::1; 31 classes, 2 providers".
    std::string describe() const;

    /// Whether requests get on; see HTTPServer::makesProgress().
    bool makesProgress();

    /// What the server can tell about itself. Any thread may ask, until the destructor begins.
    status::ServerStatus status() const { return _status->collect(); }
    /// To be called every second or so.
    void sampleRates() { _status->sampleRates(status::RateHistory::Clock::now()); }

    /// What was not done when the time was up.
    struct Leftover {
        std::size_t requests = 0;
        std::uint64_t indications = 0;
    };
    /// Takes no more requests, lets those that are complete end, takes no more reports, and delivers what is
    /// queued. Requests get half of `patience` at the most, and what they leave of it is for the queues. A
    /// request that a worker carries out cannot be cut off, only its client: it is waited for.
    Leftover stop(std::chrono::milliseconds patience);

    /// The requests that are being carried out and the indications that wait. Any thread may ask, until the
    /// destructor begins.
    Leftover underWay() const;

private:
    struct Unstarted {};
    /// Nothing runs yet. Once this has returned, whatever keeps the server from starting meets the
    /// destructor.
    Server(const Settings& settings, Unstarted);

    void _seed();
    void _loadProviders(const Settings& settings);
    void _warnOfIdleArguments(const Settings& settings) const;
    HTTPResponse _handle(const HTTPRequest& request);
    ProviderTable::IsA _isA() const;
    status::Collector::Parts _statusParts() const;
    Faces::Sources _faceSources(const Settings& settings) const;
    /// Empty when it is ready.
    std::string _notReady() const;

    const std::vector<std::string> _addresses;
    StateDirectory _state;
    Repository _repository;
    ProviderTable _providerTable;
    std::unique_ptr<CIndicationManager> _manager;
    // After the manager: a server that cannot start lets go of its providers, which report to it, first.
    std::unique_ptr<ProviderFolder> _providers;
    Instances _instances;
    std::unique_ptr<RequestHandler> _handler;
    std::atomic<std::size_t> _requestsInWork{0};
    std::atomic<bool> _isServing{false};
    Liveness _liveness;
    std::unique_ptr<status::Collector> _status;
    std::unique_ptr<Faces> _faces;
    std::unique_ptr<HTTPServer> _http;
};

}  // namespace velm
