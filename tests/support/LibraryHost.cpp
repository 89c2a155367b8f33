#include "tests/support/LibraryHost.h"

#include "CIMOM_Indications/CIMOMClassManager.h"

namespace velm::test {

LibraryHost::LibraryHost(const std::vector<std::pair<std::string, std::string>>& classes)
    : LibraryHost(makeRepository(classes)) {
}

LibraryHost::LibraryHost(const ORVSmrPtr<IOrvoRepository>& repository) : _repository(repository) {
    CCIMOMClassManager::initialize(_repository);
    manager = std::make_unique<CIndicationManager>(_server);
    manager->enableIndications();
}

LibraryHost::~LibraryHost() = default;

ORVSmrPtr<CSubscriberID> LibraryHost::idOf(const ScriptedListener& listener, std::uint32_t session) {
    return ORVSmrPtr<CSubscriberID>(
        new CSubscriberID(ORVString(listener.address()), ORVString(listener.port()), session));
}

void LibraryHost::subscribe(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                            IOrvoIndication::IndicationType type) {
    ORVSmrPtr<IOrvoValue> classValue = makeString(className);
    ORVSmrPtr<IOrvoValue> none;
    manager->subscribe(id, classValue, none, none, type, "server.example.org", "5988");
}

void LibraryHost::subscribeChanges(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className) {
    manager->subscribe(id, makeInstanceName(className), nullptr, IOrvoIndication::IndicationChange,
                       "server.example.org", "5988", true);
}

void LibraryHost::report(const ORVString& className, const ORVString& id,
                         IOrvoIndication::IndicationType type) {
    manager->notify(makeIndication(makeObject(className, id), type));
}

bool LibraryHost::isKnown(const ORVSmrPtr<CSubscriberID>& id) const {
    const auto subscribers = manager->getCurrentSubscribers();
    for (const ORVSmrPtr<CSubscriber>& subscriber : *subscribers) {
        if (*subscriber->getSubscriberID() == *id) {
            return true;
        }
    }
    return false;
}

}  // namespace velm::test
