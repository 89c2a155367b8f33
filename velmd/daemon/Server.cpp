#include "velmd/daemon/Server.h"

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationNotifier.h"
#include "velmd/daemon/ClassMirror.h"
#include "velmd/daemon/Descriptors.h"
#include "velmd/daemon/Drain.h"
#include "velmd/daemon/Import.h"
#include "velmd/daemon/LogSetup.h"
#include "velmd/daemon/RepositoryReports.h"
#include "velmd/repository/RegistryClasses.h"
#include "velmd/status/Describe.h"
#include "velmd/status/Metrics.h"
#include "velmd/status/StatusJson.h"

#include <algorithm>
#include <climits>
#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

std::string machineName() {
    char own[HOST_NAME_MAX + 1] = {};
    return ::gethostname(own, sizeof own - 1) == 0 && own[0] != '\0' ? own : "localhost";
}

std::string hostName(const Settings& settings) {
    const std::string name = settings.text("Server", "HostName");
    return name.empty() ? machineName() : name;
}

HTTPLimits limitsIn(const Settings& settings) {
    const auto size = [&](const char* key) {
        return static_cast<std::size_t>(settings.number("Limits", key));
    };
    HTTPLimits limits;
    limits.maxHeaderBytes = size("MaxHeaderBytes");
    limits.maxBodyBytes = size("MaxBodyBytes");
    limits.maxConnections = connectionsWithin(raiseDescriptorLimit(), size("MaxConnections"));
    limits.maxHeldBytes = size("MaxHeldBytes");
    limits.maxWaitingRequests = size("MaxWaitingRequests");
    limits.idleTimeout = settings.seconds("Limits", "IdleSeconds");
    limits.requestTimeout = settings.seconds("Limits", "RequestSeconds");
    limits.writeTimeout = settings.seconds("Limits", "WriteSeconds");
    return limits;
}

HTTPServer::Options optionsIn(const Settings& settings) {
    HTTPServer::Options options;
    options.addresses = settings.list("Server", "Addresses");
    options.port = static_cast<std::uint16_t>(settings.number("Server", "Port"));
    options.workers = static_cast<unsigned int>(settings.number("Server", "Workers"));
    options.limits = limitsIn(settings);
    options.isUrgent = &Faces::isFor;
    return options;
}

/// Counts as long as it lives.
class Counted {
public:
    explicit Counted(std::atomic<std::size_t>& count) : _count(count) { ++_count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --_count; }

private:
    std::atomic<std::size_t>& _count;
};

}  // namespace

Server::Server(const Settings& settings, Unstarted)
    : _addresses(settings.list("Server", "Addresses")),
      _state(settings.text("Server", "StateDirectory")),
      _repository(_state.repositoryFile()),
      _providerTable(mirroredNamespace, _isA()),
      _instances(_repository, _providerTable, mirroredNamespace,
                 static_cast<int>(settings.number("VELM", "CimTransactionTimeout"))) {
}

Server::Server(const Settings& settings) : Server(settings, Unstarted()) {
    if (_repository.isNew()) {
        _seed();
    }
    CCIMOMClassManager::initialize(ORVSmrPtr<IOrvoRepository>(new RegistryClasses(_repository)));
    _manager = std::make_unique<CIndicationManager>(_providerTable);
    _repository.setObserver(repositoryReports(_manager->getSmartSubscriber()));
    _manager->enableIndications();
    _loadProviders(settings);
    const MessageLimits messageLimits{static_cast<std::size_t>(settings.number("Limits", "MaxXMLDepth")),
                                      static_cast<std::size_t>(settings.number("Limits", "MaxXMLMarkup"))};
    _handler = std::make_unique<RequestHandler>(
        RequestHandler::Parts{_repository, _instances, *_manager, hostName(settings), &mirrorClass,
                              static_cast<std::size_t>(settings.number("VELM", "MaxSubscribers"))},
        messageLimits);
    _status = std::make_unique<status::Collector>(_statusParts());
    _faces = std::make_unique<Faces>(_faceSources(settings));
    _http = std::make_unique<HTTPServer>(optionsIn(settings),
                                         [this](const HTTPRequest& request) { return _handle(request); });
    _isServing = true;
}

Server::~Server() {
    // Whoever calls into the parts goes before them.
    _http.reset();
    if (_providers) {
        _providers->closeGates();
    }
    _repository.setObserver({});
    _manager.reset();
    _providers.reset();
}

ProviderTable::IsA Server::_isA() const {
    return [this](std::string_view className, std::string_view ancestor) {
        const ResolvedClassHandle found = _repository.find(mirroredNamespace).classes->find(className);
        return found && found->isA(ancestor);
    };
}

void Server::_seed() {
    const Import::Count count = seed(_repository);
    logInformation(fmt::format("Created the repository {} with {} classes in namespace {}.",
                               _state.repositoryFile().string(), count.classes, mirroredNamespace));
}

void Server::_loadProviders(const Settings& settings) {
    const ProviderHost host{
        _manager->getSmartSubscriber(), mirroredNamespace,
        [this](std::string_view name) { return _repository.find(name); },
        [&settings](std::string_view name) { return ORVString(settings.providerArgument(name)); }};
    _providers = std::make_unique<ProviderFolder>(settings.text("Providers", "Directory"), host);
    for (const auto& loaded : _providers->providers()) {
        _providerTable.add(ORVString(loaded->name()), loaded->provider(), loaded->classNames());
    }
    _warnOfIdleArguments(settings);
}

void Server::_warnOfIdleArguments(const Settings& settings) const {
    for (const std::string& name : settings.providersNamed()) {
        const auto& loaded = _providers->providers();
        if (std::ranges::none_of(loaded, [&](const auto& provider) { return provider->name() == name; })) {
            logWarning(fmt::format("Providers.{} is set, and no provider of that name was loaded.", name));
        }
    }
}

std::string Server::describe() const {
    return fmt::format("port {} of {}; {} classes, {} providers", _http->port(),
                       fmt::join(_addresses, " and "), _repository.find(mirroredNamespace).classes->size(),
                       _providers->providers().size());
}

bool Server::makesProgress() {
    const bool doesMake = _http->makesProgress();
    if (doesMake) {
        _liveness.noteProgress();
    }
    return doesMake;
}

HTTPResponse Server::_handle(const HTTPRequest& request) {
    if (auto shown = _faces->handle(request)) {
        return std::move(*shown);
    }
    const Counted counted(_requestsInWork);
    return _handler->handle(request);
}

status::Collector::Parts Server::_statusParts() const {
    return {*_manager,
            [this] { return _repository.find(mirroredNamespace).classes->size(); },
            [this] { return _isServing ? _http->connectionCount() : 0; },
            [this] { return _requestsInWork.load(); },
            [this] { return _notReady(); },
            [this] { return status::describe(_handler->counts()); },
            [this] { return status::describe(*_providers); }};
}

std::string Server::_notReady() const {
    if (!_isServing) {
        return "the server is starting or stopping";
    }
    return _manager->getIndicationsEnabled() ? "" : "indications are switched off";
}

Faces::Sources Server::_faceSources(const Settings& settings) const {
    Faces::Sources sources;
    sources.status = [this] { return status(); };
    sources.json = &status::toJson;
    sources.metrics = &status::metricsText;
    sources.dumpTables = [this](std::ostream& out) { _manager->dump(out); };
    sources.dumpClassTable = [](std::ostream& out) { CCIMOMClassManager::getInstance()->dump(out); };
    sources.illness = [this] { return _liveness.illness(); };
    sources.notReady = [this] { return _notReady(); };
    sources.indicationsLog = std::string(CIndicationNotifier::getIndicationsLogFileName().view());
    sources.hostName = hostName(settings);
    sources.machineName = machineName();
    return sources;
}

Server::Leftover Server::stop(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    _isServing = false;
    Leftover leftover;
    leftover.requests = _http->stop(patience / 2);
    _providers->closeGates();
    leftover.indications = drainIndications(*_manager, deadline);
    return leftover;
}

Server::Leftover Server::underWay() const {
    return {_requestsInWork, waitingIndications(*_manager)};
}

}  // namespace velm
