#include "tests/unit/Indications/IndicationManagerSupport.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/services/VELMConfigManager.h"

#include <ostream>
#include <stdexcept>

namespace velm::test {

RecordingProvider::RecordingProvider(Calls calls, Script script)
    : _calls(std::move(calls)), _script(std::move(script)) {
}

RecordingProvider::Script RecordingProvider::accepting() {
    return answering(ORVSmrPtr<IOrvoValue>(new COrvoValue(true)));
}

RecordingProvider::Script RecordingProvider::answering(const ORVSmrPtr<IOrvoValue>& value) {
    return [value](const Call&) { return value; };
}

RecordingProvider::Script RecordingProvider::throwing() {
    return [](const Call&) -> ORVSmrPtr<IOrvoValue> { throw std::runtime_error("the provider is broken"); };
}

ORVSmrPtr<IOrvoValue> RecordingProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                          ORVSmrPtr<IOrvoSubscriber> observer,
                                                          IOrvoIndication::IndicationType type,
                                                          ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                          ORVSmrPtr<IOrvoTransaction> transaction) {
    lastObserver = observer;
    lastTransaction = transaction;
    return _record("registerObserver", instanceName, type, filter);
}

ORVSmrPtr<IOrvoValue> RecordingProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                            ORVSmrPtr<IOrvoSubscriber> observer,
                                                            IOrvoIndication::IndicationType type,
                                                            ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                            ORVSmrPtr<IOrvoTransaction> transaction) {
    lastObserver = observer;
    lastTransaction = transaction;
    return _record("deregisterObserver", instanceName, type, filter);
}

ORVSmrPtr<IOrvoObject> RecordingProvider::getInstance(const ORVString&,
                                                      ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoTransaction> transaction) {
    lastTransaction = transaction;
    _record("getInstance", instanceName, IOrvoIndication::IndicationInvalid, nullptr);
    return instance;
}

ORVSmrPtr<IOrvoValue> RecordingProvider::_record(const char* method,
                                                 const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                                 IOrvoIndication::IndicationType type,
                                                 const ORVSmrPtr<IOrvoSubscriptionFilter>& filter) {
    Call call{method, instanceName.IsNull() ? "null" : instanceName->toString().data(), type,
              COrvoDebugTools::indicationFilterToString(filter).data()};
    _calls->push_back(call);
    return _script(call);
}

void PrintTo(const RecordingProvider::Call& call, std::ostream* out) {
    *out << call.method << "(" << call.instance << ", " << COrvoDebugTools::indicationTypeToString(call.type)
         << ", " << call.filter << ")";
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> ListServer::getProviders(
    ORVSmrPtr<IOrvoInstanceName> instanceName) {
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> list;
    if (providers.empty() || (instanceName.IsNull() && !answersForNullName)) {
        return list;
    }
    list = new ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>;
    for (IProvider* provider : providers) {
        list->append(ORVSmrPtr<OrvoProviderInfo>(new OrvoProviderInfo("test", provider)));
    }
    return list;
}

IProvider* ListServer::_selectProvider(const ORVString& nameSpace, const ORVString&) {
    lastNameSpace = nameSpace.data();
    return providers.empty() ? nullptr : providers.front();
}

IndicationManagerTest::IndicationManagerTest()
    : repository(makeRepository({{"ManagedElement", ""},
                                 {"LogicalFile", "ManagedElement"},
                                 {"DataFile", "LogicalFile"},
                                 {"Directory", "LogicalFile"},
                                 {"Component", ""},
                                 {"DirectoryContainsFile", "Component"}})),
      log(LogCapture::tracesOn) {
    CCIMOMClassManager::initialize(repository);
    manager = std::make_unique<CIndicationManager>(server);
    manager->getIndicationNotifier()->shutdown();
    manager->enableIndications();
    log.clear();
}

IndicationManagerTest::~IndicationManagerTest() {
    VELMConfigManager::getInstance()->clear();
}

ORVSmrPtr<CSubscriberID> IndicationManagerTest::makeID(const ORVString& host, std::uint32_t session) {
    return ORVSmrPtr<CSubscriberID>(new CSubscriberID(host, "5990", session));
}

bool IndicationManagerTest::subscribeClass(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                                           IOrvoIndication::IndicationType type) {
    return subscribeEnds(id, className.isNull() ? nullptr : makeString(className), nullptr, nullptr, type);
}

bool IndicationManagerTest::unsubscribeClass(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                                             IOrvoIndication::IndicationType type) {
    return unsubscribeEnds(id, className.isNull() ? nullptr : makeString(className), nullptr, nullptr, type);
}

bool IndicationManagerTest::subscribeEnds(const ORVSmrPtr<CSubscriberID>& id,
                                          ORVSmrPtr<IOrvoValue> classValue, ORVSmrPtr<IOrvoValue> one,
                                          ORVSmrPtr<IOrvoValue> two, IOrvoIndication::IndicationType type) {
    return manager->subscribe(id, classValue, one, two, type, "server.example.org", "5988");
}

bool IndicationManagerTest::unsubscribeEnds(const ORVSmrPtr<CSubscriberID>& id,
                                            ORVSmrPtr<IOrvoValue> classValue, ORVSmrPtr<IOrvoValue> one,
                                            ORVSmrPtr<IOrvoValue> two, IOrvoIndication::IndicationType type) {
    return manager->unsubscribe(id, classValue, one, two, type);
}

bool IndicationManagerTest::subscribeChange(const ORVSmrPtr<CSubscriberID>& id,
                                            const ORVSmrPtr<IOrvoInstanceName>& name, bool classWide,
                                            const std::vector<std::string>& properties) {
    return manager->subscribe(id, name, makeFilter(properties), IOrvoIndication::IndicationChange,
                              "server.example.org", "5988", classWide);
}

bool IndicationManagerTest::unsubscribeChange(const ORVSmrPtr<CSubscriberID>& id,
                                              const ORVSmrPtr<IOrvoInstanceName>& name, bool classWide,
                                              const std::vector<std::string>& properties) {
    return manager->unsubscribe(id, name, makeFilter(properties), IOrvoIndication::IndicationChange,
                                classWide);
}

std::vector<IOrvoIndication::IndicationType> IndicationManagerTest::takeQueued(
    const ORVSmrPtr<CSubscriberID>& id) {
    std::vector<IOrvoIndication::IndicationType> types;
    const ORVSmrPtr<CSubscriber> subscriber = manager->findSubscriber(*id, true);
    if (!subscriber.IsNull()) {
        const CSubscriber::IndicationList queued = subscriber->getIndications();
        if (!queued.IsNull()) {
            for (const ORVSmrPtr<IOrvoIndication>& indication : *queued) {
                types.push_back(indication->getType());
            }
        }
    }
    return types;
}

RecordingProvider& IndicationManagerTest::addProvider(RecordingProvider::Script script) {
    providers.push_back(std::make_unique<RecordingProvider>(calls, std::move(script)));
    server.providers.push_back(providers.back().get());
    return *providers.back();
}

std::vector<std::string> IndicationManagerTest::methodsCalled() const {
    std::vector<std::string> methods;
    for (const RecordingProvider::Call& call : *calls) {
        methods.push_back(call.method);
    }
    return methods;
}

ORVSmrPtr<IOrvoSubscriptionFilter> makeFilter(const std::vector<std::string>& properties) {
    ORVSmrPtr<IOrvoSubscriptionFilter> filter;
    if (!properties.empty()) {
        filter = new COrvoSubscriptionFilter;
        for (const std::string& property : properties) {
            filter->addProperty(ORVString(property));
        }
    }
    return filter;
}

}  // namespace velm::test
