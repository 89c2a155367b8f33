#include "benchmarks/world/World.h"

#include "benchmarks/harness/Placement.h"
#include "foundation/object_model/COrvoRepository.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/ORVLog.h"
#include "foundation/services/VELMConfigManager.h"

#include <chrono>
#include <thread>

namespace velm::bench {

namespace {

using Value = ORVSmrPtr<IOrvoValue>;

Value referenceTo(const InstanceName& instance) {
    return Value(new COrvoValue(instance));
}

ORVSmrPtr<IOrvoRepository> load(const std::filesystem::path& schema) {
    auto repository = std::make_unique<COrvoRepository>();
    repository->loadFile(ORVString(schema.string()), nameSpace);
    repository->link();
    return ORVSmrPtr<IOrvoRepository>(repository.release());
}

}  // namespace

SubscriberID subscriberID(std::uint32_t index) {
    return SubscriberID(new CSubscriberID("192.0.2.1", "5990", index));
}

CSubscriber::IndicationList DrainedSubscriber::getIndications() {
    CSubscriber::getIndications();
    return nullptr;
}

World::World(const std::filesystem::path& schema, const std::filesystem::path& folder, int libraryCore)
    : _repository(load(schema)) {
    VELMConfigManager& settings = *VELMConfigManager::getInstance();
    settings.setString("Log", "LogDir", ORVString(folder.string()));
    // Reports come faster than the delivery thread comes round.
    settings.setString("VELM", "MaxQueuedIndications", "0");
    ORVLog::open(ORVString((folder / "server.log").string()));
    CCIMOMClassManager::initialize(_repository);
    pinThread(libraryCore);
    _manager = std::make_unique<CIndicationManager>(_server);
    _manager->enableIndications();
    pinThread(cores().first);
}

World::~World() = default;

SubscriberID World::addDrained(std::uint32_t index) {
    const SubscriberID id = subscriberID(index);
    _manager->addSubscriber(ORVSmrPtr<CSubscriber>(new DrainedSubscriber(id)));
    return id;
}

void World::subscribeToChanges(const SubscriberID& id, const InstanceName& instance, bool classWide) {
    _manager->subscribe(id, instance, nullptr, IOrvoIndication::IndicationChange, localHost, localPort,
                        classWide);
}

void World::unsubscribeFromChanges(const SubscriberID& id, const InstanceName& instance, bool classWide) {
    _manager->unsubscribe(id, instance, nullptr, IOrvoIndication::IndicationChange, classWide);
}

void World::subscribeToCreations(const SubscriberID& id, const ORVString& className) {
    Value classValue(new COrvoValue(className));
    Value none;
    _manager->subscribe(id, classValue, none, none, IOrvoIndication::IndicationCreation, localHost,
                        localPort);
}

void World::subscribeToCreations(const SubscriberID& id, const InstanceName& instance) {
    Value target = referenceTo(instance);
    Value none;
    _manager->subscribe(id, target, none, none, IOrvoIndication::IndicationCreation, localHost, localPort);
}

void World::unsubscribeFromCreations(const SubscriberID& id, const ORVString& className) {
    Value classValue(new COrvoValue(className));
    Value none;
    _manager->unsubscribe(id, classValue, none, none, IOrvoIndication::IndicationCreation);
}

void World::subscribeToAssociation(const SubscriberID& id, const ORVString& className,
                                   const InstanceName& one, const InstanceName& two) {
    Value classValue(new COrvoValue(className));
    Value endOne = referenceTo(one);
    Value endTwo = referenceTo(two);
    _manager->subscribe(id, classValue, endOne, endTwo, IOrvoIndication::IndicationEnterAssociation,
                        localHost, localPort);
}

void World::awaitPass() {
    const ORVSmrPtr<CIndicationNotifier> notifier = _manager->getIndicationNotifier();
    const auto before = notifier->getProgress().passesEnded;
    while (notifier->getProgress().passesEnded == before) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::vector<ORVString> World::lineageOf(const ORVString& className) const {
    std::vector<ORVString> lineage;
    for (auto node = _repository->getClass(nameSpace, className); !node.IsNull();
         node = node->getSuperClass()) {
        lineage.push_back(node->getName());
    }
    return lineage;
}

std::vector<ORVString> World::deepestLineage() const {
    std::vector<ORVString> deepest;
    const auto classes = _repository->enumerateClasses(nameSpace);
    for (const ORVSmrPtr<IOrvoClass>& declared : *classes) {
        std::vector<ORVString> lineage = lineageOf(declared->getName());
        if (lineage.size() > deepest.size()) {
            deepest = std::move(lineage);
        }
    }
    return deepest;
}

}  // namespace velm::bench
