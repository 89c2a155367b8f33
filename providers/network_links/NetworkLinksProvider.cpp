#include "providers/network_links/NetworkLinksProvider.h"

#include "providers/support/Instances.h"

#include <algorithm>
#include <stdexcept>

#include <linux/rtnetlink.h>

namespace velm::network_links {

using providers::describe;
using providers::flag;
using providers::isOneOf;
using providers::isSame;
using providers::keyOf;
using providers::WatcherThread;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
constexpr int datagramsPerTurn = 64;
constexpr auto retryDelay = 1s;

bool isAboveBoth(const ORVString& className) {
    return isOneOf(className, {"CIM_EnabledLogicalElement", "CIM_LogicalElement", "CIM_ManagedSystemElement",
                               "CIM_ManagedElement"});
}

bool isPortOrAbove(const ORVString& className) {
    return isAboveBoth(className) || isOneOf(className, {portClass, "CIM_NetworkPort", "CIM_LogicalPort",
                                                         "CIM_LogicalDevice", "CIM_AllocatedLogicalElement"});
}

bool isEndpointOrAbove(const ORVString& className) {
    return isAboveBoth(className) ||
           isOneOf(className, {endpointClass, "CIM_ProtocolEndpoint", "CIM_ServiceAccessPoint"});
}

const ORVString& checkedArgument(const ProviderContext& context) {
    if (context.argument.length() != 0) {
        throw std::invalid_argument("network_links takes no argument");
    }
    return context.nameSpace;
}

/// What is worth a log line of a name: the key that differs from instance to instance.
const char* mainKeyOf(const ORVSmrPtr<IOrvoInstanceName>& name) {
    return keyOf(name, "DeviceID").isNull() ? "Name" : "DeviceID";
}

}  // namespace

NetworkLinksProvider::NetworkLinksProvider(const ProviderContext& context)
    : _model(checkedArgument(context)),
      _nameSpace(context.nameSpace),
      _reporter("NetworkLinksProvider", context.observer),
      _socket(groups),
      _table(
          _model, _reporter,
          [this](const std::string& linkName) { return readLinkSpeed(_socket.descriptor(), linkName); },
          readNetworkState()) {
    _thread.start("network_links", {_socket.descriptor()}, [this] { return _turn(); });
    _reporter.log("Watching the network links");
}

NetworkLinksProvider::~NetworkLinksProvider() {
    _reporter.close();
    _thread.stop();
}

NetworkLinksProvider::Subject NetworkLinksProvider::_subjectOf(const Name& name) const {
    if (name.IsNull()) {
        return {};
    }
    const ORVString className = name->getClassName();
    if (name->getKeyBindings()->isEmpty()) {
        return {isPortOrAbove(className), isEndpointOrAbove(className), ""};
    }
    const std::string deviceID(keyOf(name, "DeviceID").view());
    if (!deviceID.empty() && isSame(name, _model.portName(deviceID))) {
        return {true, false, deviceID};
    }
    const std::string endpoint(keyOf(name, "Name").view());
    if (!endpoint.empty() && isSame(name, _model.endpointName(endpoint))) {
        return {false, true, endpoint};
    }
    return {};
}

ORVSmrPtr<IOrvoValue> NetworkLinksProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                             ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                             IOrvoIndication::IndicationType type,
                                                             ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                             ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    const Subject subject = _subjectOf(instanceName);
    if (!subject.concernsPorts && !subject.concernsEndpoints) {
        return flag(false);
    }
    if (type == IOrvoIndication::IndicationChange) {
        if (subject.concernsPorts) {
            _table.startPortChanges(subject.key, filter);
        }
        if (subject.concernsEndpoints) {
            _table.startEndpointChanges(subject.key, filter);
        }
    }
    _reporter.log("Told to start reporting " + describe(type, instanceName, mainKeyOf(instanceName)));
    return flag(true);
}

ORVSmrPtr<IOrvoValue> NetworkLinksProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                               ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                               IOrvoIndication::IndicationType type,
                                                               ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                               ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    const Subject subject = _subjectOf(instanceName);
    bool accepted = subject.concernsPorts || subject.concernsEndpoints;
    if (accepted && type == IOrvoIndication::IndicationChange) {
        const bool hadPorts = subject.concernsPorts && _table.stopPortChanges(subject.key, filter);
        const bool hadEndpoints =
            subject.concernsEndpoints && _table.stopEndpointChanges(subject.key, filter);
        accepted = hadPorts || hadEndpoints;
    }
    if (accepted) {
        _reporter.log("Told to stop reporting " + describe(type, instanceName, mainKeyOf(instanceName)));
    }
    return flag(accepted);
}

ORVSmrPtr<IOrvoObject> NetworkLinksProvider::getInstance(const ORVString& /*nameSpace*/,
                                                         ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                         ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    const Subject subject = _subjectOf(instanceName);
    if (subject.key.empty()) {
        return nullptr;
    }
    return subject.concernsPorts ? _table.port(subject.key) : _table.endpoint(subject.key);
}

ORVSmrPtr<ORVValSlist<ORVString>> NetworkLinksProvider::getClassNames() {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    names->append(portClass);
    names->append(endpointClass);
    return names;
}

IProvider::InstanceNames NetworkLinksProvider::enumerateInstanceNames(
    const ORVString& nameSpace, const ORVString& className, ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    const bool wantsPorts = isOneOf(className, {portClass});
    if (!wantsPorts && !isOneOf(className, {endpointClass})) {
        return nullptr;
    }
    InstanceNames names(new ORVValSlist<Name>);
    if (nameSpace.compareTo(_nameSpace, ORVString::caseInsensitive) != 0) {
        return names;
    }
    for (const std::string& key : wantsPorts ? _table.deviceIDs() : _table.endpointNames()) {
        names->append(wantsPorts ? _model.portName(key) : _model.endpointName(key));
    }
    return names;
}

WatcherThread::Patience NetworkLinksProvider::_turn() noexcept {
    try {
        _receive();
    } catch (...) {
        _lose("Trying again in a second: " + providers::currentFailure());
        _catchUpDue = Clock::now() + retryDelay;
    }
    if (!_hasLost) {
        return WatcherThread::forever;
    }
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(_catchUpDue - Clock::now()));
}

void NetworkLinksProvider::_receive() {
    for (int count = 0; count < datagramsPerTurn; ++count) {
        RouteMessages messages;
        switch (_socket.receive(messages)) {
            case RouteSocket::nothing:
                _catchUp();
                return;
            case RouteSocket::lost:
                if (!_hasLost) {
                    _lose("Messages were lost; reading all links and addresses anew");
                    _catchUpDue = Clock::now();
                }
                break;
            case RouteSocket::received:
                for (const RouteEvent& event : messages.events) {
                    if (!_hasLost) {
                        _table.apply(event);
                    }
                }
        }
    }
}

void NetworkLinksProvider::_lose(const ORVString& why) {
    _hasLost = true;
    _reporter.log(why, OrvoTraceLog::SeverityWarning);
}

void NetworkLinksProvider::_catchUp() {
    if (_hasLost && _catchUpDue <= Clock::now()) {
        _table.resynchronise(readNetworkState());
        _hasLost = false;
    }
}

}  // namespace velm::network_links
