#include "velmd/requests/SubscriptionOperations.h"

#include "foundation/http/ORVHTTPCodes.h"
#include "foundation/http/ORVHTTPTransport.h"
#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "foundation/services/ORVLog.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/providers/ProviderException.h"
#include "velmd/requests/Envelope.h"
#include "velmd/requests/Parameters.h"
#include "velmd/requests/SubscriberAddress.h"
#include "velmd/wire/CIMReader.h"

#include <array>

#include <fmt/format.h>

namespace velm {

/// What a client subscribes to, in the spelling of the repository.
struct SubscriptionOperations::Subscription {
    ORVSmrPtr<CSubscriberID> subscriber;
    IOrvoIndication::IndicationType type;

    /// For changes: the instance, or a name without keys that stands for its class.
    ORVSmrPtr<IOrvoInstanceName> instanceName;
    bool isClassWide = false;
    ORVSmrPtr<IOrvoSubscriptionFilter> filter;

    /// For everything else; null handles where nothing was named.
    ORVSmrPtr<IOrvoValue> classValue;
    ORVSmrPtr<IOrvoValue> endOne;
    ORVSmrPtr<IOrvoValue> endTwo;

    bool isChange() const { return type == IOrvoIndication::IndicationChange; }
};

namespace {

using Type = IOrvoIndication::IndicationType;

constexpr std::array types{IOrvoIndication::IndicationChange,
                           IOrvoIndication::IndicationAddition,
                           IOrvoIndication::IndicationRemoval,
                           IOrvoIndication::IndicationCreation,
                           IOrvoIndication::IndicationDestruction,
                           IOrvoIndication::IndicationEnterRelationship,
                           IOrvoIndication::IndicationLeaveRelationship,
                           IOrvoIndication::IndicationEnterAssociation,
                           IOrvoIndication::IndicationLeaveAssociation};

Type typeIn(const Parameters& parameters) {
    const std::string name = parameters.string("IndicationType");
    for (const Type type : types) {
        if (sameName(name, COrvoDebugTools::indicationTypeToString(type).view())) {
            return type;
        }
    }
    Parameters::refuse("IndicationType",
                       "must be Change, Addition, Removal, Creation, Destruction, "
                       "EnterRelationship, LeaveRelationship, EnterAssociation or "
                       "LeaveAssociation");
}

bool hasEnds(Type type) {
    return type != IOrvoIndication::IndicationChange && type != IOrvoIndication::IndicationCreation &&
           type != IOrvoIndication::IndicationDestruction;
}

void refuseIfThere(const Parameters& parameters, std::string_view name, std::string_view reason) {
    if (parameters.has(name)) {
        Parameters::refuse(name, reason);
    }
}

/// CLASSNAME, or INSTANCENAME.
bool namesInstance(const Parameters& parameters, std::string_view name) {
    const XMLElement* element = parameters.find(name);
    return element && element->name == "INSTANCENAME";
}

/// Whether each parameter is what it has to be, before what it names is looked for.
void checkForms(const Parameters& parameters) {
    parameters.optionalClassName("ClassName");
    parameters.boolean("ClassWide", false);
    for (const char* end : {"EndOne", "EndTwo"}) {
        if (!namesInstance(parameters, end)) {
            parameters.optionalClassName(end);
        }
    }
    const XMLElement* filter = parameters.find("Filter");
    if (!filter || filter->name != "VALUE.ARRAY") {
        parameters.optionalClassName("Filter");
    } else if (parameters.optionalStrings("Filter")->empty()) {
        Parameters::refuse("Filter", "names no property");
    }
}

/// Whether the parameters go together, before what they name is looked for.
void checkCombination(const Parameters& parameters, Type type) {
    const bool isChange = type == IOrvoIndication::IndicationChange;
    if (parameters.has("InstanceName")) {
        refuseIfThere(parameters, "ClassName", "cannot be given beside InstanceName");
    } else if (isChange && !parameters.has("ClassName")) {
        Parameters::refuse("ClassName", "is missing, and so is InstanceName");
    }
    for (const char* end : {"EndOne", "EndTwo"}) {
        if (!hasEnds(type)) {
            refuseIfThere(parameters, end, "goes with the types of indication about associations");
        } else if (!parameters.has(end)) {
            Parameters::refuse(end, "is missing: a subscription of this IndicationType has two ends");
        }
    }
    if (!isChange) {
        refuseIfThere(parameters, "ClassWide", "goes with the IndicationType Change");
        refuseIfThere(parameters, "Filter", "goes with the IndicationType Change");
    }
}

/// The manager holds its lock while it writes the response of a channel, most of which is this opening: it
/// must fit into what the socket takes at once. HTTP headers and return value need less than the other half.
constexpr std::size_t longestOpening = HTTPResponse::unblockedBytes / 2;

std::string channelOpening(const CIMRequest& request) {
    std::string opening = responseOpening(request);
    if (opening.size() > longestOpening) {
        throwStatus(CIMStatus::invalidParameter, "the message ID is too long for a channel");
    }
    return opening;
}

OperationResult answer(bool value) {
    return {value ? "<VALUE>TRUE</VALUE>" : "<VALUE>FALSE</VALUE>", {}};
}

void logChannelFailure(const CSubscriberID& subscriber, const std::string& reason) {
    ORVLog::log("RegisterNotificationChannel",
                "The channel of " + subscriber.toString() + " could not be opened: " + ORVString(reason),
                OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

/// A parameter may name a class or an instance.
class SubscriptionOperations::Target {
public:
    Target(const Repository& repository, std::string_view nameSpace, const Parameters& parameters)
        : _repository(repository), _nameSpace(nameSpace), _parameters(parameters) {}

    ResolvedClassHandle classWithName(std::string_view className) const {
        return _repository.getClass(_nameSpace, className);
    }

    ResolvedClassHandle classNamed(std::string_view parameter) const {
        return classWithName(_parameters.className(parameter));
    }

    /// A name without keys.
    ORVSmrPtr<IOrvoInstanceName> patternNamed(std::string_view parameter) const {
        return ORVSmrPtr<IOrvoInstanceName>(
            new COrvoInstanceName(ORVString(_nameSpace), ORVString(classNamed(parameter)->name()), {}));
    }

    ORVSmrPtr<IOrvoInstanceName> instanceNamed(std::string_view parameter) const {
        return _repository.names().canonicalName(*_parameters.instanceName(parameter), _nameSpace);
    }

    ORVSmrPtr<IOrvoValue> classValue(std::string_view parameter) const {
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(ORVString(classNamed(parameter)->name())));
    }

    ORVSmrPtr<IOrvoValue> instanceValue(std::string_view parameter) const {
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(instanceNamed(parameter)));
    }

    /// CLASSNAME or INSTANCENAME.
    ORVSmrPtr<IOrvoValue> end(std::string_view parameter) const {
        return namesInstance(_parameters, parameter) ? instanceValue(parameter) : classValue(parameter);
    }

private:
    const Repository& _repository;
    const std::string_view _nameSpace;
    const Parameters& _parameters;
};

/// The properties, or the class, that Filter names; a null handle without one.
ORVSmrPtr<IOrvoSubscriptionFilter> SubscriptionOperations::_filterIn(const Parameters& parameters,
                                                                     const ORVString& className,
                                                                     const Target& target) {
    const XMLElement* element = parameters.find("Filter");
    if (!element) {
        return nullptr;
    }
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    if (element->name != "VALUE.ARRAY") {
        filter->setClassName(ORVString(target.classNamed("Filter")->name()));
        return filter;
    }
    const auto names = parameters.optionalStrings("Filter").value_or(std::vector<std::string>());
    const ResolvedClassHandle watched = target.classWithName(className.view());
    const CIMClass& declaration = watched->declaration;
    for (const std::string& name : names) {
        const CIMProperty* property = declaration.property(name);
        if (!property) {
            throwStatus(CIMStatus::noSuchProperty,
                        fmt::format("the filter names {}, which {} has not", quoted(name), declaration.name));
        }
        filter->addProperty(ORVString(property->name));
    }
    return filter;
}

/// A change is subscribed to by instance, or by a name that stands for all instances of its class.
void SubscriptionOperations::_readChange(Subscription& subscription, const Parameters& parameters,
                                         const Target& target) {
    const bool isInstance = parameters.has("InstanceName");
    subscription.isClassWide = parameters.boolean("ClassWide", !isInstance);
    if (!isInstance && !subscription.isClassWide) {
        Parameters::refuse("ClassWide", "cannot be FALSE where a class is named");
    }
    subscription.instanceName =
        isInstance ? target.instanceNamed("InstanceName") : target.patternNamed("ClassName");
    subscription.filter = _filterIn(parameters, subscription.instanceName->getClassName(), target);
}

void SubscriptionOperations::_readEvent(Subscription& subscription, const Parameters& parameters,
                                        const Target& target) {
    if (parameters.has("InstanceName")) {
        subscription.classValue = target.instanceValue("InstanceName");
    } else if (parameters.has("ClassName")) {
        subscription.classValue = target.classValue("ClassName");
    }
    if (hasEnds(subscription.type)) {
        subscription.endOne = target.end("EndOne");
        subscription.endTwo = target.end("EndTwo");
    }
}

SubscriptionOperations::Subscription SubscriptionOperations::_subscription(const CIMRequest& request) const {
    const Parameters parameters(
        request, {"SubscriberHost", "SubscriberPort", "SessionID", "IndicationType", "ClassName",
                  "InstanceName", "EndOne", "EndTwo", "ClassWide", "Filter"});
    const std::string nameSpace = _repository.find(request.nameSpace).name;
    const Target target(_repository, nameSpace, parameters);
    Subscription subscription{subscriberIn(parameters), typeIn(parameters), {}, false, {}, {}, {}, {}};
    checkCombination(parameters, subscription.type);
    checkForms(parameters);
    if (subscription.isChange()) {
        _readChange(subscription, parameters, target);
    } else {
        _readEvent(subscription, parameters, target);
    }
    return subscription;
}

bool SubscriptionOperations::_subscribe(Subscription& wanted, const ORVString& localHost,
                                        const ORVString& localPort) const {
    if (wanted.isChange()) {
        return _manager.subscribe(wanted.subscriber, wanted.instanceName, wanted.filter, wanted.type,
                                  localHost, localPort, wanted.isClassWide);
    }
    return _manager.subscribe(wanted.subscriber, wanted.classValue, wanted.endOne, wanted.endTwo, wanted.type,
                              localHost, localPort);
}

OperationResult SubscriptionOperations::subscribe(const CIMRequest& request) const {
    Subscription wanted = _subscription(request);
    _limit.requireRoomFor(*wanted.subscriber);
    try {
        return answer(_subscribe(wanted, ORVString(request.localAddress), ORVString(request.localPort)));
    } catch (const CIMOMException&) {
        throw;
    } catch (...) {
        throwStatus(CIMStatus::failed,
                    fmt::format("the subscription stands, but a provider that was asked to watch failed: {}",
                                currentExceptionText()));
    }
}

OperationResult SubscriptionOperations::unsubscribe(const CIMRequest& request) const {
    Subscription unwanted = _subscription(request);
    return answer(unwanted.isChange()
                      ? _manager.unsubscribe(unwanted.subscriber, unwanted.instanceName, unwanted.filter,
                                             unwanted.type, unwanted.isClassWide)
                      : _manager.unsubscribe(unwanted.subscriber, unwanted.classValue, unwanted.endOne,
                                             unwanted.endTwo, unwanted.type));
}

OperationResult SubscriptionOperations::heartBeat(const CIMRequest& request) const {
    const Parameters parameters(request, {"SubscriberHost", "SubscriberPort", "SessionID"});
    ORVSmrPtr<CSubscriberID> subscriber = subscriberIn(parameters);
    _manager.heartBeat(subscriber);
    return {};
}

OperationResult SubscriptionOperations::registerNotificationChannel(const CIMRequest& request) const {
    const Parameters parameters(request, {"SubscriberHost", "SubscriberPort", "SessionID"});
    const ORVSmrPtr<CSubscriberID> subscriber = subscriberIn(parameters);
    _limit.requireRoomFor(*subscriber);
    OperationResult result;
    result.takeOver = [this, subscriber, host = ORVString(request.localAddress),
                       port = ORVString(request.localPort), opening = channelOpening(request)](int socket) {
        try {
            _openChannel(socket, subscriber, host, port, opening);
        } catch (...) {
            logChannelFailure(*subscriber, currentExceptionText());
        }
    };
    return result;
}

/// The manager writes the return value and the end of the response.
void SubscriptionOperations::_openChannel(int socket, const ORVSmrPtr<CSubscriberID>& subscriber,
                                          const ORVString& localHost, const ORVString& localPort,
                                          const std::string& opening) const {
    const ORVSmrPtr<ORVHTTPTransport> transport(new ORVHTTPTransport(socket));
    const ORVSmrPtr<CSubscriberNetworkConnection> connection(new CSubscriberNetworkConnection(transport));
    const ORVSmrPtr<ORVGenericHTTPOStream> stream = connection->getOutputStream();
    *stream << "HTTP/1.1 200 OK" << ORVHTTPCodes::CRLF << "Content-Type: " << responseContentType
            << ORVHTTPCodes::CRLF << "CIMOperation: MethodResponse" << ORVHTTPCodes::CRLF;
    stream->completeHeader();
    *stream << opening;
    _manager.registerNotificationChannel(subscriber, localHost, localPort, connection, 0);
}

}  // namespace velm
