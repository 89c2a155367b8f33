#pragma once

#include "velmd/http/HTTPServer.h"
#include "velmd/requests/AssociationOperations.h"
#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/ClassOperations.h"
#include "velmd/requests/InstanceOperations.h"
#include "velmd/requests/LogOperations.h"
#include "velmd/requests/RequestCounts.h"
#include "velmd/requests/SubscriptionOperations.h"

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>

namespace velm {

/// Answers the HTTP requests of clients: finds the operation, runs it, and puts its result or its failure
/// into a response (DSP0200).
///
/// Threads: any number. Failure: std::bad_alloc, and what `authenticate` throws; what an operation throws
/// becomes a CIM status.
class RequestHandler {
public:
    struct Parts {
        Repository& repository;
        const Instances& instances;
        IIndicationManager& manager;
        /// Names this server in the paths that are answered.
        std::string hostName;
        ClassOperations::ClassCreated classCreated;
        /// 0: no bound.
        std::size_t maxSubscribers = 0;
    };

    /// Answers the challenge ("Basic realm=...") for a request that must not pass, nothing for one that may.
    /// Everybody may, until a server has a way to tell.
    using Authenticate = std::function<std::optional<std::string>(const HTTPRequest&)>;

    RequestHandler(const Parts& parts, const MessageLimits& limits, Authenticate authenticate = {});
    RequestHandler(const RequestHandler&) = delete;
    RequestHandler& operator=(const RequestHandler&) = delete;

    HTTPResponse handle(const HTTPRequest& http) const;

    /// Requests so far, by operation and outcome. Operations that there are not count as "other".
    RequestCounts::Counts counts() const { return _counts.counts(); }

private:
    using Operation = std::function<OperationResult(const CIMRequest&)>;

    HTTPResponse _answer(const HTTPRequest& http) const;
    HTTPResponse _run(const CIMRequest& request) const;
    void _count(const CIMRequest& request, int status) const;
    OperationResult _operate(const CIMRequest& request) const;
    void _listOperations();

    Repository& _repository;
    const ClassOperations _classes;
    const InstanceOperations _instances;
    const AssociationOperations _associations;
    const SubscriptionOperations _subscriptions;
    const LogOperations _log{};
    const MessageLimits _limits;
    const Authenticate _authenticate;
    std::unordered_map<std::string, Operation, CIMNameHash, CIMNameEqual> _operations;
    mutable RequestCounts _counts;
};

}  // namespace velm
