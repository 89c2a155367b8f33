#include "velmd/requests/RequestHandler.h"

#include "foundation/services/CIMOMException.h"
#include "foundation/services/ORVLog.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/providers/ProviderException.h"
#include "velmd/requests/Envelope.h"
#include "velmd/wire/CIMReader.h"

#include <fmt/format.h>

namespace velm {

namespace {

constexpr const char* allowedMethods = "POST, OPTIONS";
constexpr const char* servedPath = "/cimom";

/// What is counted where a client named no operation that there is.
constexpr const char* otherOperation = "other";

/// No header grows with what a client sent.
constexpr std::size_t longestDetails = 400;

/// What a header can carry: bytes outside printable ASCII, and the percent sign, are percent-encoded.
std::string headerText(std::string_view text) {
    std::string encoded;
    for (const char character : text.substr(0, longestDetails)) {
        const bool isPlain = character >= ' ' && character <= '~' && character != '%';
        encoded += isPlain ? std::string(1, character)
                           : fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
    return encoded;
}

HTTPResponse refusal(const RefusedRequest& refused) {
    HTTPResponse response;
    response.status = refused.status();
    response.headers.emplace_back("CIMOperation", "MethodResponse");
    if (!refused.cimError().empty()) {
        response.headers.emplace_back("CIMError", refused.cimError());
    }
    response.headers.emplace_back("CIMErrorDetails", headerText(refused.what()));
    return response;
}

HTTPResponse plainResponse(unsigned int status) {
    HTTPResponse response;
    response.status = status;
    return response;
}

/// What this server can do, as clients ask for it before their first operation (DSP0200, OPTIONS).
HTTPResponse optionsResponse() {
    HTTPResponse response;
    response.headers = {{"Allow", allowedMethods},
                        {"Opt", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73"},
                        {"73-CIMProtocolVersion", "1.0"},
                        {"73-CIMSupportedFunctionalGroups",
                         "basic-read, basic-write, schema-manipulation, instance-manipulation, "
                         "association-traversal, qualifier-declaration"}};
    return response;
}

HTTPResponse challengeResponse(const std::string& challenge) {
    HTTPResponse response;
    response.status = 401;
    response.headers.emplace_back("WWW-Authenticate", challenge);
    return response;
}

HTTPResponse messageResponse(std::string body) {
    HTTPResponse response;
    response.headers = {{"Content-Type", std::string(responseContentType)},
                        {"CIMOperation", "MethodResponse"}};
    response.body = std::move(body);
    return response;
}

/// A target may come as a whole URL (RFC 9112, absolute-form).
std::string_view pathOf(std::string_view target) {
    constexpr std::string_view scheme = "http://";
    if (sameName(target.substr(0, scheme.size()), scheme)) {
        target.remove_prefix(scheme.size());
        const auto slash = target.find('/');
        target = slash == std::string_view::npos ? "/" : target.substr(slash);
    }
    return target.substr(0, target.find('?'));
}

bool isServed(std::string_view target) {
    const std::string_view path = pathOf(target);
    return path == servedPath || path == "/";
}

void logFailure(const CIMRequest& request, std::string_view problem) {
    ORVLog::log("RequestHandler", ORVString(fmt::format("{} failed: {}", request.method, problem)),
                OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

RequestHandler::RequestHandler(const Parts& parts, const MessageLimits& limits, Authenticate authenticate)
    : _repository(parts.repository),
      _classes(parts.instances, parts.classCreated),
      _instances(parts.instances),
      _associations(parts.instances, parts.hostName),
      _subscriptions(parts.repository, parts.manager, parts.maxSubscribers),
      _limits(limits),
      _authenticate(std::move(authenticate)) {
    _listOperations();
}

void RequestHandler::_listOperations() {
    const auto list = [this](const char* name, const auto& operations, auto operation) {
        _operations[name] = [&operations, operation](const CIMRequest& request) {
            return (operations.*operation)(request);
        };
    };
    list("GetClass", _classes, &ClassOperations::getClass);
    list("EnumerateClasses", _classes, &ClassOperations::enumerateClasses);
    list("EnumerateClassNames", _classes, &ClassOperations::enumerateClassNames);
    list("CreateClass", _classes, &ClassOperations::createClass);
    list("DeleteClass", _classes, &ClassOperations::deleteClass);
    list("GetQualifier", _classes, &ClassOperations::getQualifier);
    list("SetQualifier", _classes, &ClassOperations::setQualifier);
    list("DeleteQualifier", _classes, &ClassOperations::deleteQualifier);
    list("EnumerateQualifiers", _classes, &ClassOperations::enumerateQualifiers);
    list("GetInstance", _instances, &InstanceOperations::getInstance);
    list("EnumerateInstances", _instances, &InstanceOperations::enumerateInstances);
    list("EnumerateInstanceNames", _instances, &InstanceOperations::enumerateInstanceNames);
    list("CreateInstance", _instances, &InstanceOperations::createInstance);
    list("ModifyInstance", _instances, &InstanceOperations::modifyInstance);
    list("DeleteInstance", _instances, &InstanceOperations::deleteInstance);
    list("Associators", _associations, &AssociationOperations::associators);
    list("AssociatorNames", _associations, &AssociationOperations::associatorNames);
    list("References", _associations, &AssociationOperations::references);
    list("ReferenceNames", _associations, &AssociationOperations::referenceNames);
    list("Subscribe", _subscriptions, &SubscriptionOperations::subscribe);
    list("Unsubscribe", _subscriptions, &SubscriptionOperations::unsubscribe);
    list("RegisterNotificationChannel", _subscriptions, &SubscriptionOperations::registerNotificationChannel);
    list("HeartBeat", _subscriptions, &SubscriptionOperations::heartBeat);
    list("LogIndications", _log, &LogOperations::logIndications);
    list("PlaceMarker", _log, &LogOperations::placeMarker);
    list("ClearIndicationsLog", _log, &LogOperations::clearIndicationsLog);
}

HTTPResponse RequestHandler::handle(const HTTPRequest& http) const {
    try {
        return _answer(http);
    } catch (const RefusedRequest& refused) {
        _counts.count(otherOperation, RequestCounts::refused);
        return refusal(refused);
    } catch (const CIMSyntaxError& error) {
        _counts.count(otherOperation, RequestCounts::refused);
        return refusal({400, "request-not-loosely-valid", error.what()});
    }
}

HTTPResponse RequestHandler::_answer(const HTTPRequest& http) const {
    if (http.method == "OPTIONS") {
        return optionsResponse();
    }
    if (http.method == "M-POST") {
        return plainResponse(501);
    }
    if (http.method != "POST") {
        HTTPResponse response = plainResponse(405);
        response.headers.emplace_back("Allow", allowedMethods);
        return response;
    }
    if (!isServed(http.target)) {
        return plainResponse(404);
    }
    if (const auto challenge = _authenticate ? _authenticate(http) : std::nullopt) {
        return challengeResponse(*challenge);
    }
    return _run(CIMRequest::read(http, _limits));
}

HTTPResponse RequestHandler::_run(const CIMRequest& request) const {
    try {
        OperationResult result = _operate(request);
        _count(request, RequestCounts::ok);
        if (result.takeOver) {
            HTTPResponse response;
            response.takeOver = std::move(result.takeOver);
            return response;
        }
        return messageResponse(successResponse(request, result));
    } catch (const CIMSyntaxError&) {
        throw;
    } catch (const CIMOMException& failure) {
        // A status that the request did not bring about is the operator's business, too.
        if (failure.getCode() == static_cast<int>(CIMStatus::failed)) {
            logFailure(request, failure.getMessage().view());
        }
        _count(request, failure.getCode());
        return messageResponse(errorResponse(request, failure.getCode(), failure.getMessage().view()));
    } catch (...) {
        logFailure(request, currentExceptionText());
        _count(request, static_cast<int>(CIMStatus::failed));
        return messageResponse(
            errorResponse(request, static_cast<int>(CIMStatus::failed), "an internal error"));
    }
}

void RequestHandler::_count(const CIMRequest& request, int status) const {
    const auto operation = request.isExtrinsic ? _operations.end() : _operations.find(request.method);
    _counts.count(operation == _operations.end() ? otherOperation : operation->first, status);
}

/// The order of the checks is that of the standard: what is supported, the namespace, then the parameters.
OperationResult RequestHandler::_operate(const CIMRequest& request) const {
    const auto operation = request.isExtrinsic ? _operations.end() : _operations.find(request.method);
    if (operation == _operations.end()) {
        throwStatus(CIMStatus::notSupported,
                    fmt::format("the operation {} is not supported", quoted(request.method)));
    }
    _repository.find(request.nameSpace);
    return operation->second(request);
}

}  // namespace velm
