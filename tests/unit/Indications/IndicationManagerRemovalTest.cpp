#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "foundation/subscribers/CSubscriberTableEntry.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <utility>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Call = RecordingProvider::Call;

constexpr auto Change = IOrvoIndication::IndicationChange;
constexpr auto Addition = IOrvoIndication::IndicationAddition;
constexpr auto Creation = IOrvoIndication::IndicationCreation;
constexpr auto Destruction = IOrvoIndication::IndicationDestruction;

class SubscriberRemoval : public IndicationManagerTest {
protected:
    SubscriberRemoval() { addProvider(); }

    std::vector<std::string> hosts() {
        std::vector<std::string> names;
        const ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> subscribers = manager->getCurrentSubscribers();
        for (const ORVSmrPtr<CSubscriber>& subscriber : *subscribers) {
            names.emplace_back(subscriber->getSubscriberID()->getHostName().data());
        }
        return names;
    }

    void remove(const char* host, bool cleanup = true) {
        manager->removeSubscriber(*makeID(host), false, cleanup);
    }
};

/// A monitor that counts, and throws when told to.
class CountingMonitor : public CSubscriberNetworkConnectionMonitor {
public:
    using CSubscriberNetworkConnectionMonitor::CSubscriberNetworkConnectionMonitor;
    bool subscriptionChangeOccured() override {
        ++told;
        if (throws) {
            throw std::runtime_error("no monitor");
        }
        return true;
    }
    int told = 0;
    bool throws = false;
};

class MonitoredRemoval : public SubscriberRemoval {
protected:
    MonitoredRemoval() : monitor(new CountingMonitor(inspect(*manager).smartThis())) {
        inspect(*manager).connectionMonitor()->shutdown();
        inspect(*manager).connectionMonitor() = monitor;
    }
    CountingMonitor* monitor;
};

TEST_F(SubscriberRemoval, TakesTheSubscriberOutOfEveryTable) {
    subscribeClass(makeID(), "DataFile", Creation);
    subscribeClass(makeID(), {}, Creation);
    subscribeChange(makeID(), file);

    remove("127.0.0.1");

    EXPECT_THAT(hosts(), IsEmpty());
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));
    for (const char* name : {"DataFile", "OrvoCimom_CatchAll"}) {
        const auto table = CCIMOMClassManager::getInstance()->lookup(name)->getSubscription();
        EXPECT_TRUE(table->getClassMapList()->getFilterSubscriberMapList()->isEmpty()) << name;
    }
}

TEST_F(SubscriberRemoval, KeepsTheOthers) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    remove("127.0.0.1");
    EXPECT_THAT(hosts(), ElementsAre("127.0.0.2"));
    manager->notify(makeIndication(makeObject(file), Change));
    EXPECT_THAT(takeQueued(makeID("127.0.0.2")), ElementsAre(Change));
}

TEST_F(SubscriberRemoval, TellsProvidersOfItsRowsInTheOrderOfTheTable_AndOfNobodyElses) {
    for (int number = 0; number < 200; ++number) {
        const char* host = number % 3 == 0 ? "127.0.0.1" : "127.0.0.2";
        subscribeChange(makeID(host), makeInstanceName("DataFile", std::to_string(number).c_str()));
    }
    std::vector<std::string> expected;
    auto& table = inspect(*manager).subscriberTable();
    for (ORVValMapIterator<ORVString, ORVSmrPtr<CSubscriberList>> row(table); ++row;) {
        if (!row.value()->lookup(*makeID("127.0.0.1")).IsNull()) {
            expected.emplace_back(row.key().data());
        }
    }
    calls->clear();

    remove("127.0.0.1");

    std::vector<std::string> told;
    for (const Call& call : *calls) {
        told.push_back(call.instance);
    }
    EXPECT_EQ(expected.size(), 67u);
    EXPECT_EQ(told, expected);
    EXPECT_EQ(table.entries(), 133u);
}

TEST_F(SubscriberRemoval, FindsARowThatWasSubscribedAgain_WhenItsInstanceWasDestroyedBefore) {
    subscribeChange(makeID(), file);
    manager->notify(makeIndication(makeObject(file), IOrvoIndication::IndicationDestruction));
    subscribeChange(makeID(), file);
    calls->clear();
    remove("127.0.0.1");
    EXPECT_THAT(*calls, SizeIs(1));
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(SubscriberRemoval, LeavesAnEmptyListBehind_WhenItIsFiledUnderAClass) {
    subscribeChange(makeID(), file, true);
    remove("127.0.0.1");
    ORVSmrPtr<CSubscriberList> list;
    ASSERT_TRUE(inspect(*manager).subscriberTable().find("DataFile", list));
    EXPECT_TRUE(list->isEmpty());
}

TEST_F(SubscriberRemoval, StillCleansUpEarlierRecords_WhenTheIdentityIsUnknown) {
    subscribeChange(makeID(), file);
    remove("127.0.0.1", false);
    calls->clear();
    EXPECT_EQ(inspect(*manager).pendingSubscriberRecords(), 1u);

    remove("127.0.0.99", true);

    EXPECT_THAT(*calls, ElementsAre(Call{"deregisterObserver", file->toString().data(), Change, "NULL"}));
    EXPECT_EQ(inspect(*manager).pendingSubscriberRecords(), 0u);
}

TEST_F(SubscriberRemoval, LeavesNoRecordAndAsksNobody_WhenTheSubscriberHasNoTableEntry) {
    subscribeClass(makeID(), "DataFile", Creation);
    calls->clear();
    remove("127.0.0.1", false);
    EXPECT_EQ(inspect(*manager).pendingSubscriberRecords(), 0u);
    remove("127.0.0.1", true);
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(SubscriberRemoval, TellsProvidersOnceWithoutAndOnceWithTheFilter_WhenBothWereSubscribed) {
    subscribeChange(makeID(), file);
    subscribeChange(makeID(), file);
    subscribeChange(makeID(), file, false, {"Size"});
    calls->clear();

    remove("127.0.0.1");

    EXPECT_THAT(*calls, ElementsAre(Call{"deregisterObserver", file->toString().data(), Change, "NULL"},
                                    Call{"deregisterObserver", file->toString().data(), Change, "[Size]"}));
}

TEST_F(SubscriberRemoval, TellsProvidersOfEveryKindInOrder) {
    const auto kinds = {IOrvoIndication::IndicationLeaveRelationship,
                        IOrvoIndication::IndicationEnterRelationship,
                        Destruction,
                        Creation,
                        IOrvoIndication::IndicationRemoval,
                        Addition,
                        Change};
    for (const auto kind : kinds) {
        manager->subscribe(makeID(), file, nullptr, kind, "s", "1", false);
    }
    calls->clear();
    remove("127.0.0.1");
    std::vector<IOrvoIndication::IndicationType> told;
    for (const Call& call : *calls) {
        told.push_back(call.type);
    }
    EXPECT_THAT(told, testing::ElementsAreArray(std::rbegin(kinds), std::rend(kinds)));
}

TEST_F(SubscriberRemoval, TellsEveryProvider_WhenTheEntryWasClassWide) {
    addProvider();
    subscribeChange(makeID(), file, true);
    calls->clear();
    remove("127.0.0.1");
    EXPECT_THAT(*calls, SizeIs(2));
}

TEST_F(SubscriberRemoval, TellsProvidersOfAnEmptiedAssociationFilter_AfterTheTableEntries) {
    const auto directory = makeInstanceName("Directory", "d");
    subscribeEnds(makeID(), {}, makeReference(directory), makeString("DataFile"), Addition);
    subscribeChange(makeID(), file);
    calls->clear();

    remove("127.0.0.1");

    EXPECT_THAT(*calls, ElementsAre(Call{"deregisterObserver", file->toString().data(), Change, "NULL"},
                                    Call{"deregisterObserver", directory->toString().data(), Addition,
                                         "DataFile[]"}));
}

TEST_F(SubscriberRemoval, TellsNobodyOfEmptiedCreationAndDestructionFilters) {
    subscribeEnds(makeID(), makeReference(file), {}, {}, Creation);
    calls->clear();
    remove("127.0.0.1");
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(SubscriberRemoval, GoesOnWithTheNextRecord_WhenOneFails) {
    // A filter without a second class cannot be told to anybody.
    const auto directory = makeInstanceName("Directory", "d");
    subscribeEnds(makeID(), {}, makeReference(directory), {}, Addition);
    subscribeEnds(makeID(), {}, makeReference(directory), makeString("DataFile"), Addition);
    calls->clear();
    EXPECT_NO_THROW(remove("127.0.0.1"));
    EXPECT_THAT(*calls, SizeIs(1));
}

TEST_F(SubscriberRemoval, LogsAndReturns_WhenTheServerFailsDuringCleanUp) {
    class FailingServer : public ListServer {
    public:
        ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
            ORVSmrPtr<IOrvoInstanceName>) override {
            throw std::runtime_error("no providers today");
        }
    };
    FailingServer failing;
    CIndicationManager fragile(failing);
    fragile.getIndicationNotifier()->shutdown();
    EXPECT_THROW(fragile.subscribe(makeID(), file, nullptr, Change, "s", "1", false), std::runtime_error);
    EXPECT_THROW(fragile.subscribe(makeID(), file, makeFilter({"Size"}), Change, "s", "1", false),
                 std::runtime_error);
    log.clear();

    EXPECT_NO_THROW(fragile.removeSubscriber(*makeID(), false, true));

    EXPECT_THAT(
        log.records(),
        ElementsAre(
            IsTraceLine(
                "CIndicationManager",
                "An unknown exception occured unsubscribing a NULL filter on the object " + file->toString(),
                1),
            IsTraceLine(
                "CIndicationManager",
                "An unknown exception occured unsubscribing a filter on the object " + file->toString(), 1)));
}

TEST_F(SubscriberRemoval, CallsProvidersUnderNoLock) {
    subscribeChange(makeID(), file);
    server.providers.clear();
    int asked = 0;
    addProvider([&](const Call&) {
        ++asked;
        EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });
    remove("127.0.0.1");
    EXPECT_EQ(asked, 1);
}

TEST_F(MonitoredRemoval, TellsTheMonitorOnlyWhenAsked) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    monitor->told = 0;
    manager->removeSubscriber(*makeID("127.0.0.1"), false, true);
    EXPECT_EQ(monitor->told, 0);
    manager->removeSubscriber(*makeID("127.0.0.9"), true, true);
    EXPECT_EQ(monitor->told, 0);
    manager->removeSubscriber(*makeID("127.0.0.2"), true, true);
    EXPECT_EQ(monitor->told, 1);
}

TEST_F(MonitoredRemoval, LogsAndKeepsTheSubscriber_WhenTheMonitorFails) {
    subscribeChange(makeID(), file);
    log.clear();
    monitor->throws = true;
    EXPECT_NO_THROW(manager->removeSubscriber(*makeID(), true, true));
    EXPECT_THAT(
        log.records(),
        ElementsAre(IsLogLine(
            "CIndicationManager::removeSubscriber",
            "An unknown exception occured while removing the subscriber '" + makeID()->toString() + "'", 1)));
    EXPECT_THAT(hosts(), SizeIs(1));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(MonitoredRemoval, TakesTheTablesAwayAllTheSame_WhenTheMonitorFailsDuringTheRemovalOfAll) {
    subscribeChange(makeID(), file);
    log.clear();
    monitor->throws = true;
    EXPECT_NO_THROW(manager->removeAllSubscribers(true, true));
    EXPECT_THAT(hosts(), SizeIs(1));
    EXPECT_THAT(manager->getStatus().removed, IsEmpty());
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));
    EXPECT_THAT(
        log.records(),
        Contains(IsLogLine(
            "CIndicationManager::removeSubscriber",
            "An unknown exception occured while removing the subscriber '" + makeID()->toString() + "'", 1)));
}

TEST_F(MonitoredRemoval, TellsTheMonitorOncePerSubscriber_WhenAllAreRemoved) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    monitor->told = 0;
    manager->removeAllSubscribers(true, true);
    EXPECT_EQ(monitor->told, 2);
    EXPECT_THAT(hosts(), IsEmpty());
}

TEST_F(SubscriberRemoval, RemovesAllFromTheLastToTheFirst) {
    for (const char* host : {"127.0.0.1", "127.0.0.2", "127.0.0.3"}) {
        subscribeChange(makeID(host), makeInstanceName("DataFile", host));
    }
    calls->clear();
    manager->removeAllSubscribers(false, true);
    std::vector<std::string> order;
    for (const Call& call : *calls) {
        order.push_back(call.instance);
    }
    EXPECT_THAT(order, ElementsAre(testing::HasSubstr("127.0.0.3"), testing::HasSubstr("127.0.0.2"),
                                   testing::HasSubstr("127.0.0.1")));
    EXPECT_THAT(hosts(), IsEmpty());
}

TEST_F(SubscriberRemoval, OfAllLeavesTheRecordsForTheNextCleanUp_WhenNotAskedForOne) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    calls->clear();
    manager->removeAllSubscribers(false, false);
    EXPECT_THAT(*calls, IsEmpty());
    EXPECT_EQ(inspect(*manager).pendingSubscriberRecords(), 2u);

    // Nobody is left, so this is the clean-up alone.
    manager->removeAllSubscribers(true, true);
    EXPECT_THAT(*calls, SizeIs(2));
}

TEST_F(SubscriberRemoval, LogsAtTheOuterPlace_WhenTheSubscriberTableFails) {
    subscribeChange(makeID(), file);
    inspect(*manager).subscriberTable().insert(file->toString(), nullptr);
    log.clear();
    EXPECT_NO_THROW(remove("127.0.0.1"));
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine(
                    "CIndicationManager::_deleteSubscriber (CCIMOMClass.removeSubscriber)",
                    "An Unknown exception occured remove the subscriber " + makeID()->toString(), 1)));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(SubscriberRemoval, ComesByTheRestOfTheRowsLater_WhenItFailedHalfWay) {
    constexpr int instances = 20;
    for (int number = 0; number < instances; ++number) {
        subscribeChange(makeID(), makeInstanceName("DataFile", std::to_string(number).c_str()));
    }
    auto& table = inspect(*manager).subscriberTable();
    const ORVString broken = makeInstanceName("DataFile", "7")->toString();
    table.insert(broken, nullptr);
    remove("127.0.0.1");
    table.remove(broken);

    manager->addSubscriber(ORVSmrPtr<CSubscriber>(new CSubscriber(makeID(), "s", "1", nullptr)));
    remove("127.0.0.1");
    for (ORVValMapIterator<ORVString, ORVSmrPtr<CSubscriberList>> list(table); ++list;) {
        EXPECT_TRUE(list.value()->isEmpty()) << list.key();
    }
}

TEST_F(SubscriberRemoval, LogsAtTheInnerPlace_WhenTheClassRegistryFails) {
    const ORVSmrPtr<CSubscriber> nobody(new CSubscriber(nullptr, "s", "1", nullptr));
    CCIMOMClassManager::getInstance()
        ->lookup("DataFile")
        ->subscribe(ORVSmrPtr<CCIMOMIndicationFilter>(new CCIMOMCreationIndicationFilter), nobody, nullptr);
    subscribeChange(makeID(), file);
    log.clear();
    EXPECT_NO_THROW(remove("127.0.0.1"));
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine(
                    "CIndicationManager::_deleteSubscriber",
                    "An Unknown exception occured remove the subscriber " + makeID()->toString(), 1)));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(SubscriberRemoval, EndsTheSubscriber_WhenItsOnlyInstanceWasDestroyedBefore) {
    class WatchedSubscriber : public CSubscriber {
    public:
        WatchedSubscriber(const ORVSmrPtr<CSubscriberID>& id, std::promise<void> ended)
            : CSubscriber(id, "s", "1", nullptr), _ended(std::move(ended)) {}
        ~WatchedSubscriber() override { _ended.set_value(); }

    private:
        std::promise<void> _ended;
    };
    std::promise<void> promise;
    const std::future<void> ended = promise.get_future();
    manager->addSubscriber(ORVSmrPtr<CSubscriber>(new WatchedSubscriber(makeID(), std::move(promise))));
    subscribeChange(makeID(), file);
    subscribeEnds(makeID(), makeReference(file), {}, {}, Destruction);
    manager->notify(makeIndication(makeObject(file), Destruction));
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

    remove("127.0.0.1");

    // The connection monitor may still be looking at the list of subscribers.
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

/// A subscriber that is out of date when the test says so.
class MortalSubscriber : public CSubscriber {
public:
    MortalSubscriber(const ORVSmrPtr<CSubscriberID>& id, bool isDead)
        : CSubscriber(id, "s", "1", nullptr), _isDead(isDead) {}
    bool isOutOfDate() const override { return _isDead; }

private:
    bool _isDead;
};

class SubscriberSweep : public MonitoredRemoval {
protected:
    void add(const char* host, bool isDead) {
        manager->addSubscriber(ORVSmrPtr<CSubscriber>(new MortalSubscriber(makeID(host), isDead)));
        subscribeChange(makeID(host), makeInstanceName("DataFile", host));
    }
};

TEST_F(SubscriberSweep, RemovesThoseOutOfDate_AndCleansUpOnceAfterThem) {
    add("127.0.0.1", true);
    add("127.0.0.2", false);
    add("127.0.0.3", true);
    calls->clear();
    monitor->told = 0;
    std::vector<std::size_t> subscribersLeft;
    server.providers.clear();
    addProvider([&](const Call&) {
        subscribersLeft.push_back(manager->getCurrentSubscribers()->entries());
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });

    manager->checkSubscriberStatus();

    EXPECT_THAT(hosts(), ElementsAre("127.0.0.2"));
    EXPECT_EQ(monitor->told, 2);
    // Both were gone before the first provider was told.
    EXPECT_THAT(subscribersLeft, ElementsAre(1u, 1u));
}

TEST_F(SubscriberSweep, LogsAndPassesOverNullEntries) {
    add("127.0.0.1", true);
    inspect(*manager).subscribers().append(nullptr);
    log.clear();
    manager->checkSubscriberStatus();
    EXPECT_THAT(log.records(),
                Contains(IsTraceLine("CIndicationManager", "NULL subscriber entry in list", 1)));
    EXPECT_EQ(inspect(*manager).subscribers().entries(), 1u);
}

TEST_F(SubscriberRemoval, HandsOutAListOfItsOwn) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    const auto list = manager->getCurrentSubscribers();
    remove("127.0.0.1");
    EXPECT_EQ(list->entries(), 2u);
    EXPECT_THAT(hosts(), ElementsAre("127.0.0.2"));
}

TEST_F(SubscriberRemoval, FindsTheFirstWithTheIdentity_OrTheFirstWithAnother) {
    subscribeChange(makeID("127.0.0.1"), file);
    subscribeChange(makeID("127.0.0.2"), file);
    const auto find = [&](const char* host, bool exact) {
        const ORVSmrPtr<CSubscriber> found = manager->findSubscriber(*makeID(host), exact);
        return found.IsNull() ? std::string("none") : found->getSubscriberID()->getHostName().data();
    };
    EXPECT_EQ(find("127.0.0.2", true), "127.0.0.2");
    EXPECT_EQ(find("127.0.0.9", true), "none");
    EXPECT_EQ(find("127.0.0.1", false), "127.0.0.2");
    EXPECT_EQ(find("127.0.0.9", false), "127.0.0.1");

    inspect(*manager).subscribers().append(nullptr);
    log.clear();
    EXPECT_EQ(find("127.0.0.9", true), "none");
    EXPECT_THAT(log.records(),
                ElementsAre(IsTraceLine("CIndicationManager", "NULL subscriber entry in list", 1)));
}

TEST(DeletedSubscriberRecord, MakesANewListForEveryEntry_EvenForOneInstance) {
    const ORVSmrPtr<CSubscriber> subscriber(
        new CSubscriber(ORVSmrPtr<CSubscriberID>(new CSubscriberID("h", "1", 1)), "s", "1", nullptr));
    CIndicationManager::CDeletedSubscriberRecord record(subscriber);
    EXPECT_TRUE(record.getSubscriber() == subscriber);
    const auto name = makeInstanceName("DataFile");
    for (int i = 0; i < 2; ++i) {
        record.addTableEntry(name,
                             ORVSmrPtr<CSubscriberTableEntry>(new CSubscriberTableEntry(subscriber, false)));
    }
    ASSERT_EQ(record.getSubscriberList()->entries(), 2u);
    EXPECT_TRUE(record.getSubscriberList()->at(0)->getInstanceName() == name);
    EXPECT_EQ(record.getSubscriberList()->at(1)->getList()->entries(), 1u);
}

}  // namespace
}  // namespace velm::test
