#include "foundation/services/CIMOMException.h"
#include "foundation/services/VELMConfigManager.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Call = RecordingProvider::Call;

constexpr auto Change = IOrvoIndication::IndicationChange;
constexpr auto Addition = IOrvoIndication::IndicationAddition;
constexpr auto Creation = IOrvoIndication::IndicationCreation;
constexpr auto Destruction = IOrvoIndication::IndicationDestruction;

using ClassSubscription = IndicationManagerTest;
using InstanceSubscription = IndicationManagerTest;
using SubscriberAddition = IndicationManagerTest;

TEST_F(ClassSubscription, IsEnteredAtTheCatchAllClass_WhenNoClassIsNamed) {
    EXPECT_TRUE(subscribeClass(makeID(), {}, Creation));

    CCIMOMClassManager* classes = CCIMOMClassManager::getInstance();
    const auto catchAll = classes->lookup("OrvoCimom_CatchAll")->getSubscription();
    EXPECT_EQ(catchAll->getClassMapList()->getFilterSubscriberMapList()->entries(), 1u);
    manager->notify(makeIndication(makeObject("UnknownClass"), Creation));
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
}

TEST_F(ClassSubscription, FindsTheClassWhateverTheCaseOfItsName) {
    EXPECT_TRUE(subscribeClass(makeID(), "dataFILE", Creation));
    manager->notify(makeIndication(makeObject(file), Creation));
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
}

TEST_F(ClassSubscription, UsesTheFirstEndAsTarget_WhenThatIsAReference) {
    addProvider();
    const ORVSmrPtr<IOrvoInstanceName> directory = makeInstanceName("Directory", "d");

    subscribeEnds(makeID(), makeString("Component"), makeReference(directory), makeString("DataFile"),
                  Addition);

    // The node is that of the class value, and the list there is that of the referenced instance.
    const auto table = CCIMOMClassManager::getInstance()->lookup("Component")->getSubscription();
    EXPECT_TRUE(table->getClassMapList()->getFilterSubscriberMapList()->isEmpty());
    ORVSmrPtr<CCIMOMIndicationFilterList> list;
    ASSERT_TRUE(table->getInstanceMapList()->find("Directory:" + directory->getKeyProperties(), list));
    EXPECT_EQ(list->getInstanceName()->toString(), directory->toString());
    EXPECT_THAT(*calls,
                ElementsAre(Call{"registerObserver", directory->toString().data(), Addition, "DataFile[]"}));
}

TEST_F(ClassSubscription, KeepsTheClassAsTarget_WhenAnAssociationEndIsAReferenceOfTheOtherTwoKinds) {
    const auto type = IOrvoIndication::IndicationEnterAssociation;
    subscribeEnds(makeID(), makeString("Component"), makeReference(makeInstanceName("Directory")),
                  makeString("DataFile"), type);

    const auto table = CCIMOMClassManager::getInstance()->lookup("Component")->getSubscription();
    EXPECT_EQ(table->getClassMapList()->getFilterSubscriberMapList()->entries(), 1u);
    EXPECT_TRUE(table->getInstanceMapList()->isEmpty());
}

TEST_F(ClassSubscription, MatchesEveryInstance_WhenAnEndIsAClassName) {
    subscribeEnds(makeID(), {}, makeString("Directory"), makeString("LogicalFile"), Addition);
    const auto association = makeAssociation("DirectoryContainsFile", makeInstanceName("Directory", "any"),
                                             makeInstanceName("DataFile"));
    manager->notify(makeIndication(association, Creation));
    EXPECT_THAT(takeQueued(makeID()), ElementsAre(Addition));
}

TEST_F(ClassSubscription, MatchesOneInstance_WhenAnEndIsAReference) {
    const auto wanted = makeInstanceName("Directory", "wanted");
    subscribeEnds(makeID(), {}, makeReference(wanted), makeString("DataFile"), Addition);

    const auto report = [&](const ORVSmrPtr<IOrvoInstanceName>& directory) {
        manager->notify(makeIndication(
            makeAssociation("DirectoryContainsFile", directory, makeInstanceName("DataFile")), Creation));
    };
    report(makeInstanceName("Directory", "other"));
    EXPECT_THAT(takeQueued(makeID()), IsEmpty());
    report(makeInstanceName("Directory", "wanted"));
    EXPECT_THAT(takeQueued(makeID()), ElementsAre(Addition));
}

TEST_F(ClassSubscription, BuildsTheFilterOfEachKind) {
    const std::pair<IOrvoIndication::IndicationType, CCIMOMIndicationFilter::FilterType> kinds[] = {
        {Creation, CCIMOMIndicationFilter::FilterEnterAssociation},
        {Destruction, CCIMOMIndicationFilter::FilterEnterAssociation},
        {Addition, CCIMOMIndicationFilter::FilterAddAssociation},
        {IOrvoIndication::IndicationRemoval, CCIMOMIndicationFilter::FilterRemoveAssociation},
        {IOrvoIndication::IndicationEnterRelationship, CCIMOMIndicationFilter::FilterEnterRelationship},
        {IOrvoIndication::IndicationLeaveRelationship, CCIMOMIndicationFilter::FilterLeaveRelationship},
        {IOrvoIndication::IndicationEnterAssociation, CCIMOMIndicationFilter::FilterEnterAssociation},
        {IOrvoIndication::IndicationLeaveAssociation, CCIMOMIndicationFilter::FilterLeaveAssociation}};
    const auto table = CCIMOMClassManager::getInstance()->lookup("Component")->getSubscription();
    for (const auto& [type, filterType] : kinds) {
        subscribeEnds(makeID(), makeString("Component"), makeString("Directory"), makeString("DataFile"),
                      type);
        const auto maps = table->getClassMapList()->getFilterSubscriberMapList();
        ASSERT_EQ(maps->entries(), 1u);
        EXPECT_EQ(maps->at(0)->getIndicationFilter()->getFilterType(), filterType);
        manager->removeAllSubscribers(false, false);
    }
}

TEST_F(ClassSubscription, HearsOfDestructions) {
    EXPECT_TRUE(subscribeClass(makeID(), "DataFile", Destruction));
    manager->notify(makeIndication(makeObject(file), Destruction));
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
    EXPECT_TRUE(unsubscribeClass(makeID(), "DataFile", Destruction));
    manager->notify(makeIndication(makeObject(file), Destruction));
    EXPECT_THAT(takeQueued(makeID()), IsEmpty());
}

TEST_F(ClassSubscription, IsRefusedAndLeavesTheLocksFree_WhenAClassIsUnknown) {
    const auto expectRefusal = [&](ORVSmrPtr<IOrvoValue> classValue, ORVSmrPtr<IOrvoValue> one,
                                   ORVSmrPtr<IOrvoValue> two, const char* message) {
        try {
            subscribeEnds(makeID(), classValue, one, two, Addition);
            ADD_FAILURE() << "not refused: " << message;
        } catch (const CIMOMException& refusal) {
            EXPECT_EQ(refusal.getMessage(), ORVString(message));
            EXPECT_EQ(refusal.getWho(), ORVString("CIndicationManager"));
            EXPECT_EQ(refusal.getCode(), 5);
        }
        EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    };
    addProvider();
    const auto known = makeString("DataFile");
    expectRefusal(makeString("NoClass"), known, known, "The Class NoClass is not a recognized class.");
    expectRefusal({}, makeString("NoOne"), makeString("NoTwo"), "The Class NoOne is not a recognized class.");
    expectRefusal({}, known, makeReference(makeInstanceName("NoTwo")),
                  "The Class NoTwo is not a recognized class.");
    EXPECT_THAT(*calls, IsEmpty());
    // The subscriber itself stays known.
    EXPECT_EQ(manager->getCurrentSubscribers()->entries(), 1u);
}

TEST_F(ClassSubscription, FailsAsANullHandleAndEntersNothing_WhenTheKindHasNone) {
    EXPECT_THROW(subscribeClass(makeID(), "DataFile", Change), ORVNullPointerException);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    const auto table = CCIMOMClassManager::getInstance()->lookup("DataFile")->getSubscription();
    EXPECT_TRUE(table->getClassMapList()->getFilterSubscriberMapList()->isEmpty());
    EXPECT_TRUE(subscribeClass(makeID(), "DataFile", Creation));
}

TEST_F(ClassSubscription, FailsAsANullHandle_WhenAKindThatReadsTheFirstEndHasNone) {
    EXPECT_THROW(subscribeEnds(makeID(), makeString("Component"), {}, makeString("DataFile"), Addition),
                 ORVNullPointerException);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(ClassSubscription, AsksTheProviderEveryTime_AndTellsItForEveryCountedUnsubscribe) {
    addProvider();
    const auto target = makeReference(file);
    const auto subscribeOnce = [&] { subscribeEnds(makeID(), target, {}, {}, Creation); };
    const auto unsubscribeOnce = [&] { return unsubscribeEnds(makeID(), target, {}, {}, Creation); };

    subscribeOnce();
    subscribeOnce();
    EXPECT_TRUE(unsubscribeOnce());
    EXPECT_TRUE(unsubscribeOnce());
    EXPECT_FALSE(unsubscribeOnce());

    EXPECT_THAT(methodsCalled(), ElementsAre("registerObserver", "registerObserver", "deregisterObserver",
                                             "deregisterObserver"));
}

TEST_F(ClassSubscription, StandsAndTellsTheCaller_WhenTheProviderThrows) {
    addProvider(RecordingProvider::throwing());
    EXPECT_THROW(subscribeEnds(makeID(), makeReference(file), {}, {}, Creation), std::runtime_error);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());

    manager->notify(makeIndication(makeObject(file), Creation));
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
}

TEST_F(ClassSubscription, CallsTheProviderUnderNoLock) {
    bool called = false;
    addProvider([&](const Call&) {
        called = true;
        EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
        // A provider may report from inside the call.
        manager->notify(makeIndication(makeObject(file), Creation));
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });
    subscribeEnds(makeID(), makeReference(file), {}, {}, Creation);
    EXPECT_TRUE(called);
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
}

TEST_F(ClassSubscription, KeepsTheServersAddressAsTheClientKnowsIt) {
    subscribeClass(makeID(), "DataFile", Creation);
    const ORVSmrPtr<CSubscriber> subscriber = manager->findSubscriber(*makeID(), true);
    EXPECT_EQ(subscriber->getLocalHostName(), ORVString("server.example.org"));
    EXPECT_EQ(subscriber->getLocalPortNumber(), ORVString("5988"));
    EXPECT_TRUE(subscriber->getNetworkConnection().IsNull());
}

TEST_F(ClassSubscription, UsesOneSubscriberForEverySubscriptionOfAnIdentity) {
    subscribeClass(makeID(), "DataFile", Creation);
    subscribeClass(makeID(), "Directory", Creation);
    subscribeChange(makeID(), file);
    EXPECT_EQ(manager->getCurrentSubscribers()->entries(), 1u);
}

TEST_F(ClassSubscription, UnsubscribeAnswersFalseAndAsksNobody_WhenTheSubscriberIsUnknown) {
    addProvider();
    EXPECT_FALSE(unsubscribeClass(makeID(), "DataFile", Creation));
    EXPECT_THAT(*calls, IsEmpty());
    EXPECT_TRUE(manager->getCurrentSubscribers()->isEmpty());
}

TEST_F(InstanceSubscription, IsFiledUnderTheInstance) {
    EXPECT_TRUE(subscribeChange(makeID(), file));
    EXPECT_TRUE(inspect(*manager).hasTableKey(file->toString()));
    EXPECT_FALSE(inspect(*manager).hasTableKey("DataFile"));
}

TEST_F(InstanceSubscription, HearsOfEveryInstanceOfTheClassAndThoseBelow_WhenClassWide) {
    subscribeChange(makeID(), makeInstanceName("LogicalFile", "whichever"), true);
    EXPECT_TRUE(inspect(*manager).hasTableKey("LogicalFile"));

    manager->notify(makeIndication(makeObject("LogicalFile", "x"), Change));
    manager->notify(makeIndication(makeObject("DataFile", "y"), Change));
    manager->notify(makeIndication(makeObject("ManagedElement", "z"), Change));

    EXPECT_THAT(takeQueued(makeID()), ElementsAre(Change, Change));
}

TEST_F(InstanceSubscription, AsksTheProviderForTheFirstUnfilteredOnly_AndTellsItAfterTheLast) {
    addProvider();
    subscribeChange(makeID(), file);
    subscribeChange(makeID(), file);
    EXPECT_THAT(methodsCalled(), ElementsAre("registerObserver"));

    EXPECT_TRUE(unsubscribeChange(makeID(), file));
    EXPECT_THAT(methodsCalled(), ElementsAre("registerObserver"));
    EXPECT_TRUE(unsubscribeChange(makeID(), file));
    EXPECT_THAT(*calls, ElementsAre(Call{"registerObserver", file->toString().data(), Change, "NULL"},
                                    Call{"deregisterObserver", file->toString().data(), Change, "NULL"}));
}

TEST_F(InstanceSubscription, TellsTheProviderOnlyOfPropertiesThatAreNew) {
    addProvider();
    subscribeChange(makeID(), file, false, {"Size"});
    subscribeChange(makeID(), file, false, {"Size", "Mode"});
    subscribeChange(makeID(), file, false, {"mode"});
    unsubscribeChange(makeID(), file, false, {"Mode"});
    unsubscribeChange(makeID(), file, false, {"Size", "Mode"});

    std::vector<std::string> asked;
    for (const Call& call : *calls) {
        asked.push_back(call.method + " " + call.filter);
    }
    EXPECT_THAT(asked, ElementsAre("registerObserver [Size]", "registerObserver [Mode]",
                                   "deregisterObserver [Mode]"));
}

TEST_F(InstanceSubscription, QueuesOnlyChangesOfTheNamedProperties) {
    subscribeChange(makeID(), file, false, {"Size"});
    manager->notify(makeIndication(makeObject(file), Change, {"Mode"}));
    EXPECT_THAT(takeQueued(makeID()), IsEmpty());
    manager->notify(makeIndication(makeObject(file), Change, {"Mode", "Size"}));
    EXPECT_THAT(takeQueued(makeID()), ElementsAre(Change));
}

TEST_F(InstanceSubscription, LeavesNoKeyBehind_WhenTheLastEntryGoes) {
    subscribeChange(makeID(), file);
    subscribeChange(makeID("127.0.0.2"), file);
    EXPECT_TRUE(unsubscribeChange(makeID(), file));
    EXPECT_TRUE(inspect(*manager).hasTableKey(file->toString()));
    EXPECT_TRUE(unsubscribeChange(makeID("127.0.0.2"), file));
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(InstanceSubscription, UnsubscribeAnswersFalseAndLogsAllTheSame_WhenNothingWasSubscribed) {
    addProvider();
    EXPECT_FALSE(unsubscribeChange(makeID(), file));
    EXPECT_THAT(log.records(),
                ElementsAre(IsTraceLine("CIndicationManager",
                                        "'" + makeID()->toString() + "' unsubscribed from 'Change' on '" +
                                            file->toString() + "' (NULL)",
                                        4)));
    EXPECT_TRUE(manager->getCurrentSubscribers()->isEmpty());
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(InstanceSubscription, UnsubscribeAnswersFalse_WhenOnlySomebodyElseIsSubscribed) {
    subscribeChange(makeID(), file);
    EXPECT_FALSE(unsubscribeChange(makeID("127.0.0.2"), file));
    EXPECT_TRUE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(InstanceSubscription, LogsWhoSubscribedToWhat) {
    subscribeChange(makeID(), file, false, {"Size", "Mode"});
    EXPECT_THAT(log.records(),
                Contains(IsTraceLine("CIndicationManager",
                                     "'" + makeID()->toString() + "' subscribed to 'Change' on '" +
                                         file->toString() + "' ([Size, Mode])",
                                     4)));
}

TEST_F(InstanceSubscription, StandsAndTellsTheCaller_WhenTheProviderThrows) {
    addProvider(RecordingProvider::throwing());
    EXPECT_THROW(subscribeChange(makeID(), file), std::runtime_error);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    EXPECT_TRUE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(InstanceSubscription, FreesTheLockAndTellsTheCaller_WhenTheFilterFails) {
    class FailingFilter : public COrvoSubscriptionFilter {
    public:
        ORVSmrPtr<ORVValSlist<ORVString>> getProperties() const override {
            if (ORVReaderWriterLock::thisThreadHoldsRankedLock()) {
                throw std::runtime_error("no properties");
            }
            return COrvoSubscriptionFilter::getProperties();
        }
    };
    auto* filter = new FailingFilter;
    const ORVSmrPtr<IOrvoSubscriptionFilter> handle(filter);
    filter->addProperty("Size");
    subscribeChange(makeID(), file, false, {"Size"});
    EXPECT_THROW(manager->subscribe(makeID(), file, handle, Change, "s", "1", false), std::runtime_error);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    EXPECT_THROW(manager->unsubscribe(makeID(), file, handle, Change, false), std::runtime_error);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(SubscriberAddition, AnswersTrueAndKeepsNobody_WhenTheConnectionMonitorRefuses) {
    VELMConfigManager::getInstance()->setString("VELM", "MaxSubscribers", "1");
    CIndicationManager limited(server);
    const auto add = [&](const char* host) {
        return limited.addSubscriber(
            ORVSmrPtr<CSubscriber>(new CSubscriber(makeID(host), "s", "1", nullptr)));
    };
    EXPECT_TRUE(add("127.0.0.1"));
    EXPECT_TRUE(add("127.0.0.2"));
    EXPECT_EQ(limited.getCurrentSubscribers()->entries(), 1u);
    EXPECT_TRUE(limited.findSubscriber(*makeID("127.0.0.2"), true).IsNull());
}

TEST_F(SubscriberAddition, LogsAndAnswersTrue_WhenTheMonitorFails) {
    class ThrowingMonitor : public CSubscriberNetworkConnectionMonitor {
    public:
        using CSubscriberNetworkConnectionMonitor::CSubscriberNetworkConnectionMonitor;
        bool subscriptionChangeOccured() override { throw std::runtime_error("no monitor"); }
    };
    inspect(*manager).connectionMonitor()->shutdown();
    inspect(*manager).connectionMonitor() = new ThrowingMonitor(inspect(*manager).smartThis());
    const auto id = makeID();

    EXPECT_TRUE(manager->addSubscriber(ORVSmrPtr<CSubscriber>(new CSubscriber(id, "s", "1", nullptr))));

    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine(
                    "CIndicationManager::addSubscriber",
                    "An unknown exception occured while adding the subscriber '" + id->toString() + "'", 1)));
    EXPECT_FALSE(inspect(*manager).lock().isHeldByThisThread());
}

}  // namespace
}  // namespace velm::test
