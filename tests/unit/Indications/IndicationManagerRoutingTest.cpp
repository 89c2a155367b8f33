#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto Change = IOrvoIndication::IndicationChange;
constexpr auto Creation = IOrvoIndication::IndicationCreation;
constexpr auto Destruction = IOrvoIndication::IndicationDestruction;
constexpr auto EnterAssociation = IOrvoIndication::IndicationEnterAssociation;

/// A list in the manager's table that counts what it is offered, and answers as the test says.
class CountingList : public CSubscriberList {
public:
    CountingList(const ORVSmrPtr<IOrvoInstanceName>& name, bool answer)
        : CSubscriberList(name), _answer(answer) {}

    bool notify(ORVSmrPtr<IOrvoIndication>) override {
        ++offered;
        return _answer;
    }

    int offered = 0;

private:
    bool _answer;
};

class ThrowingList : public CSubscriberList {
public:
    using CSubscriberList::CSubscriberList;
    bool notify(ORVSmrPtr<IOrvoIndication>) override { throw std::runtime_error("broken list"); }
};

class IndicationRouting : public IndicationManagerTest {
protected:
    CountingList& putList(const ORVString& key, bool answer) {
        auto* list = new CountingList(file, answer);
        inspect(*manager).subscriberTable().insert(key, ORVSmrPtr<CSubscriberList>(list));
        return *list;
    }

    ORVSmrPtr<IOrvoIndication> makeChange(unsigned int scope) {
        auto* change = new COrvoIndication(makeObject(file), Change, nullptr, nullptr,
                                           IOrvoIndication::IntentReport, nullptr, false);
        change->setRoutingScope(scope);
        return ORVSmrPtr<IOrvoIndication>(change);
    }

    std::vector<std::string> classNamesOf(const ORVSmrPtr<IOrvoIndication>& indication) {
        std::vector<std::string> names;
        if (!indication->getClassNames().IsNull()) {
            for (const ORVString& name : *indication->getClassNames()) {
                names.emplace_back(name.data());
            }
        }
        return names;
    }
};

TEST_F(IndicationRouting, IsSilent_WhenIndicationsAreDisabled) {
    subscribeClass(makeID(), "DataFile", Creation);
    manager->disableIndications();
    log.clear();

    EXPECT_FALSE(manager->notify(makeIndication(makeObject(file), Creation)));
    EXPECT_FALSE(manager->notify(nullptr));

    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(takeQueued(makeID()), IsEmpty());
}

TEST_F(IndicationRouting, LogsEveryIndication_WhateverItsKind) {
    for (const auto type : {Change, Creation, Destruction, EnterAssociation}) {
        log.clear();
        const auto indication = makeIndication(makeObject(file), type);
        manager->notify(indication);
        EXPECT_THAT(
            log.records(),
            ElementsAre(IsTraceLine(
                "CIndicationManager",
                "Legacy Indication received: " + COrvoDebugTools::indicationToString(indication), 4)));
    }
}

TEST_F(IndicationRouting, BuildsNoText_WhenTracesAreOff) {
    class Speechless : public COrvoIndication {
    public:
        using COrvoIndication::COrvoIndication;
        ORVString toString() const override {
            ++asked;
            return COrvoIndication::toString();
        }
        mutable int asked = 0;
    };
    auto* indication = new Speechless(makeObject(file), Creation, nullptr, nullptr,
                                      IOrvoIndication::IntentReport, nullptr, false);
    const ORVSmrPtr<IOrvoIndication> handle(indication);
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    manager->notify(handle);
    EXPECT_EQ(indication->asked, 0);
}

TEST_F(IndicationRouting, OffersAChangeToTheInstanceAndItsClassesAndTheWildcard) {
    CountingList& instance = putList(file->toString(), true);
    CountingList& own = putList("DataFile", true);
    CountingList& base = putList("ManagedElement", true);
    CountingList& wildcard = putList("*", true);
    CountingList& other = putList("Directory", true);
    const auto change = makeChange(IOrvoIndication::ScopeAll);

    EXPECT_TRUE(manager->notify(change));

    EXPECT_EQ(instance.offered, 1);
    EXPECT_EQ(own.offered, 1);
    EXPECT_EQ(base.offered, 1);
    EXPECT_EQ(wildcard.offered, 1);
    EXPECT_EQ(other.offered, 0);
    EXPECT_THAT(classNamesOf(change), ElementsAre("DataFile", "LogicalFile", "ManagedElement", "*"));
}

TEST_F(IndicationRouting, NeverLooksForTheInstance_WhenTheScopeIsClassesOnly) {
    CountingList& instance = putList(file->toString(), true);
    CountingList& own = putList("DataFile", true);
    EXPECT_TRUE(manager->notify(makeChange(IOrvoIndication::ScopeClassOnly)));
    EXPECT_EQ(instance.offered, 0);
    EXPECT_EQ(own.offered, 1);
}

TEST_F(IndicationRouting, NeverLooksForClasses_WhenTheScopeIsTheInstanceOnly) {
    CountingList& instance = putList(file->toString(), true);
    CountingList& own = putList("DataFile", true);
    const auto change = makeChange(IOrvoIndication::ScopeInstanceOnly);

    EXPECT_FALSE(manager->notify(change));

    EXPECT_EQ(instance.offered, 1);
    EXPECT_EQ(own.offered, 0);
    EXPECT_TRUE(change->getClassNames().IsNull());
}

TEST_F(IndicationRouting, LooksForBoth_WhenTheScopeIsAnyOtherNumber) {
    CountingList& instance = putList(file->toString(), true);
    CountingList& own = putList("DataFile", true);
    manager->notify(makeChange(7));
    EXPECT_EQ(instance.offered, 1);
    EXPECT_EQ(own.offered, 1);
}

TEST_F(IndicationRouting, OffersNothing_WhenTheObjectFailsToTellItsName_WhateverTheScope) {
    class Nameless : public COrvoObject {
    public:
        using COrvoObject::COrvoObject;
        ORVSmrPtr<IOrvoInstanceName> getInstanceName() const override { throw std::runtime_error("no name"); }
    };
    const ORVSmrPtr<IOrvoObject> object(new Nameless("DataFile", nullptr));
    CountingList& own = putList("DataFile", true);
    // Otherwise the name is asked for the log first.
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    for (const unsigned int scope : {IOrvoIndication::ScopeAll, IOrvoIndication::ScopeClassOnly}) {
        auto* change = new COrvoIndication(object, Change, nullptr, nullptr, IOrvoIndication::IntentReport,
                                           nullptr, false);
        const ORVSmrPtr<IOrvoIndication> handle(change);
        change->setRoutingScope(scope);
        EXPECT_THROW(manager->notify(handle), std::runtime_error);
    }
    EXPECT_EQ(own.offered, 0);
}

TEST_F(IndicationRouting, AnswersWhatTheLastListFoundAnswered) {
    putList("DataFile", true);
    CountingList& wildcard = putList("*", false);
    EXPECT_FALSE(manager->notify(makeChange(IOrvoIndication::ScopeAll)));
    EXPECT_EQ(wildcard.offered, 1);

    putList("DataFile", false);
    putList("*", true);
    EXPECT_TRUE(manager->notify(makeChange(IOrvoIndication::ScopeAll)));
}

TEST_F(IndicationRouting, AnswersFalse_WhenOnlyTheInstanceListQueuedTheChange) {
    subscribeChange(makeID(), file);
    EXPECT_FALSE(manager->notify(makeIndication(makeObject(file), Change)));
    EXPECT_THAT(takeQueued(makeID()), ElementsAre(Change));
}

TEST_F(IndicationRouting, NamesNoClass_WhenTheClassIsUnknown) {
    CountingList& wildcard = putList("*", true);
    const auto change = makeIndication(makeObject("UnknownClass"), Change);
    EXPECT_FALSE(manager->notify(change));
    EXPECT_THAT(classNamesOf(change), IsEmpty());
    EXPECT_FALSE(change->getClassNames().IsNull());
    EXPECT_EQ(wildcard.offered, 0);
}

TEST_F(IndicationRouting, ReachesEveryAncestor_WhenAnInstanceIsCreated) {
    const auto leaf = makeID("127.0.0.1");
    const auto root = makeID("127.0.0.2");
    const auto any = makeID("127.0.0.3");
    const auto sibling = makeID("127.0.0.4");
    subscribeClass(leaf, "DataFile", Creation);
    subscribeClass(root, "ManagedElement", Creation);
    subscribeClass(any, {}, Creation);
    subscribeClass(sibling, "Directory", Creation);

    EXPECT_FALSE(manager->notify(makeIndication(makeObject(file), Creation)));

    EXPECT_THAT(takeQueued(leaf), ElementsAre(EnterAssociation));
    EXPECT_THAT(takeQueued(root), ElementsAre(EnterAssociation));
    EXPECT_THAT(takeQueued(any), ElementsAre(EnterAssociation));
    EXPECT_THAT(takeQueued(sibling), IsEmpty());
}

TEST_F(IndicationRouting, MatchesAtTheCatchAllClass_WhenTheClassIsUnknownOrMissing) {
    subscribeClass(makeID(), {}, Creation);
    manager->notify(makeIndication(makeObject("UnknownClass"), Creation));
    const ORVSmrPtr<IOrvoObject> nameless(new COrvoObject(ORVString(), file));
    manager->notify(makeIndication(nameless, Creation));
    EXPECT_EQ(takeQueued(makeID()).size(), 2u);
}

TEST_F(IndicationRouting, ForgetsTheInstanceList_WhenTheInstanceIsDestroyed) {
    subscribeChange(makeID(), file);
    manager->notify(makeIndication(makeObject(file), Destruction));
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));

    manager->notify(makeIndication(makeObject(file), Change));
    EXPECT_THAT(takeQueued(makeID()), IsEmpty());
}

TEST_F(IndicationRouting, KeepsTheInstanceList_WhenTheInstanceIsCreated) {
    subscribeChange(makeID(), file);
    manager->notify(makeIndication(makeObject(file), Creation));
    EXPECT_TRUE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(IndicationRouting, LogsTheObjectAndHoldsNoLock_WhenAListThrows) {
    inspect(*manager).subscriberTable().insert("DataFile",
                                               ORVSmrPtr<CSubscriberList>(new ThrowingList(file)));
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);

    EXPECT_FALSE(manager->notify(makeIndication(makeObject(file), Change)));

    EXPECT_THAT(
        log.records(),
        ElementsAre(IsLogLine("CIndicationManager::notify",
                              "An unknown exception occured while notifying subscribers for the object '" +
                                  file->toString() + "'",
                              1)));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(IndicationRouting, ThrowsAndHoldsNoLock_WhenTheIndicationIsNull) {
    EXPECT_THROW(manager->notify(nullptr), ORVNullPointerException);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    EXPECT_THROW(manager->notify(nullptr), ORVNullPointerException);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(IndicationRouting, ThrowsAndHoldsNoLock_WhenTheIndicationHasNoObject) {
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    EXPECT_THROW(manager->notify(makeIndication(nullptr, Creation)), ORVNullPointerException);
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(IndicationRouting, DeliversAnObjectWithoutAName_WhetherOrNotSomebodyReadsTheTrace) {
    subscribeClass(makeID(), "DataFile", Creation);
    const ORVSmrPtr<IOrvoObject> unnamed(new COrvoObject("DataFile", nullptr));
    for (const auto threshold : {OrvoTraceLog::SeverityInformation, OrvoTraceLog::SeverityDetail}) {
        ORVLog::setTraceThreshold(threshold);
        manager->notify(makeIndication(unnamed, Creation));
    }
    EXPECT_EQ(manager->findSubscriber(*makeID(), true)->getIndications()->entries(), 2u);
    EXPECT_THAT(log.records(),
                testing::Contains(IsTraceLine("CIndicationManager",
                                              "Legacy Indication received: Creation of an unnamed object",
                                              OrvoTraceLog::SeverityDetail)));
}

}  // namespace
}  // namespace velm::test
