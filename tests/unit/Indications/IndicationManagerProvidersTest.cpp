#include "foundation/services/CIMOMException.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <chrono>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Call = RecordingProvider::Call;

constexpr auto Change = IOrvoIndication::IndicationChange;
constexpr auto Addition = IOrvoIndication::IndicationAddition;
constexpr auto Creation = IOrvoIndication::IndicationCreation;

/// A value of a type that calls itself by another name.
class RenamedType : public IOrvoType {
public:
    explicit RenamedType(const char* name) : _name(name) {}
    ORVString getName() const override { return _name; }
    bool isReference() const override { return false; }
    bool isArray() const override { return false; }

private:
    const char* _name;
};

class RenamedTrue : public COrvoValue {
public:
    explicit RenamedTrue(const char* typeName) : COrvoValue(true), _type(new RenamedType(typeName)) {}
    ORVSmrPtr<IOrvoType> getType() const override { return _type; }

private:
    ORVSmrPtr<IOrvoType> _type;
};

class ProviderSubscription : public IndicationManagerTest {
protected:
    CIndicationManagerInspector inside() { return inspect(*manager); }
};

TEST_F(ProviderSubscription, AsksOnlyTheFirstThatAccepts_WhenInstanceBased) {
    addProvider();
    addProvider();
    addProvider();
    inside().subscribeToProvider(file, Change, false);
    EXPECT_EQ(calls->size(), 1u);
}

TEST_F(ProviderSubscription, AsksEveryProvider_WhenClassBased) {
    addProvider();
    addProvider();
    addProvider();
    inside().subscribeToProvider(file, Change, true);
    EXPECT_EQ(calls->size(), 3u);
}

struct RefusalCase {
    const char* name;
    ORVSmrPtr<IOrvoValue> answer;
};

class ProviderRefusal : public IndicationManagerTest, public testing::WithParamInterface<RefusalCase> {};

TEST_P(ProviderRefusal, MakesTheWalkGoOn) {
    addProvider(RecordingProvider::answering(GetParam().answer));
    addProvider();
    inspect(*manager).subscribeToProvider(file, Change, false);
    EXPECT_EQ(calls->size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(AnythingButTrue, ProviderRefusal,
                         testing::Values(RefusalCase{"NullHandle", nullptr},
                                         RefusalCase{"False", ORVSmrPtr<IOrvoValue>(new COrvoValue(false))},
                                         RefusalCase{"StringTrue", makeString("true")},
                                         RefusalCase{"NullBoolean", COrvoValue::null(COrvoType::boolean)}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ProviderSubscription, TakesABooleanWhateverTheCaseOfItsTypesName) {
    addProvider(RecordingProvider::answering(ORVSmrPtr<IOrvoValue>(new RenamedTrue("Boolean"))));
    addProvider();
    inside().subscribeToProvider(file, Change, false);
    EXPECT_EQ(calls->size(), 1u);
}

TEST_F(ProviderSubscription, PassesOverProvidersThatAreNotLoaded) {
    server.providers.push_back(nullptr);
    addProvider();
    inside().subscribeToProvider(file, Change, false);
    EXPECT_EQ(calls->size(), 1u);
}

TEST_F(ProviderSubscription, DoesNothing_WhenNoProviderIsKnown) {
    EXPECT_NO_THROW(inside().subscribeToProvider(file, Change, false));
    EXPECT_NO_THROW(inside().unsubscribeFromProvider(file, Change, false));
}

TEST_F(ProviderSubscription, HandsTheManagerOverAsObserver_InATransactionThatEndsWithTheCall) {
    RecordingProvider& provider = addProvider();
    inside().subscribeToProvider(file, Change, false);
    EXPECT_TRUE(provider.lastObserver == manager->getSmartSubscriber());
    EXPECT_EQ(provider.lastTransaction->getClassName(), ORVString("DataFile"));
    EXPECT_EQ(provider.lastTransaction->getMethodName(), ORVString("registerObserver"));
    EXPECT_TRUE(provider.lastTransaction->isReleased());

    inside().unsubscribeFromProvider(file, Change, false);
    EXPECT_EQ(provider.lastTransaction->getMethodName(), ORVString("deregisterObserver"));
}

TEST_F(ProviderSubscription, GoesOnSilently_WhenDeregisterThrows) {
    addProvider(RecordingProvider::throwing());
    addProvider();
    EXPECT_NO_THROW(inside().unsubscribeFromProvider(file, Change, false));
    EXPECT_THAT(methodsCalled(), ElementsAre("deregisterObserver", "deregisterObserver"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ProviderSubscription, StopsAndThrows_WhenRegisterThrows) {
    addProvider(RecordingProvider::throwing());
    addProvider();
    EXPECT_THROW(inside().subscribeToProvider(file, Change, true), std::runtime_error);
    EXPECT_EQ(calls->size(), 1u);
}

TEST_F(ProviderSubscription, FailsAsANullHandleBeforeAnyCall_WhenAServerHasProvidersForANullName) {
    addProvider();
    server.answersForNullName = true;
    EXPECT_THROW(inside().subscribeToProvider(nullptr, Creation, false), ORVNullPointerException);
    EXPECT_THROW(inside().unsubscribeFromProvider(nullptr, Creation, false), ORVNullPointerException);
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(ProviderSubscription, AsksNobody_ForKindsThatNobodyProducesOnDemand) {
    addProvider();
    const auto reference = makeReference(file);
    for (const auto type :
         {IOrvoIndication::IndicationInvalid, Change, IOrvoIndication::IndicationEnterAssociation,
          IOrvoIndication::IndicationLeaveAssociation}) {
        inside().subscribeToProvider(reference, reference, reference, type);
    }
    EXPECT_THAT(*calls, IsEmpty());
    inside().subscribeToProvider(reference, reference, reference, Addition);
    EXPECT_EQ(calls->size(), 1u);
}

TEST_F(ProviderSubscription, GivesTheCallTheConfiguredTime) {
    std::chrono::milliseconds timeLeft{};
    addProvider([&](const Call&) {
        timeLeft = providers.front()->lastTransaction->getTimeLeft();
        EXPECT_FALSE(providers.front()->lastTransaction->isReleased());
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });
    inside().subscribeToProvider(file, Change, false);
    EXPECT_GT(timeLeft, std::chrono::seconds(500));
    EXPECT_LE(timeLeft, std::chrono::seconds(600));
}

TEST_F(ProviderSubscription, NamesTheSecondEndsClassInTheFilter) {
    addProvider();
    const auto directory = makeInstanceName("Directory", "d");
    subscribeEnds(makeID(), {}, makeReference(directory), makeString("DataFile"), Addition);
    subscribeEnds(makeID(), {}, makeReference(directory), makeReference(file), Addition);
    subscribeEnds(makeID(), {}, makeReference(directory), {}, Addition);
    EXPECT_THAT(*calls,
                ElementsAre(Call{"registerObserver", directory->toString().data(), Addition, "DataFile[]"},
                            Call{"registerObserver", directory->toString().data(), Addition, "DataFile[]"},
                            Call{"registerObserver", directory->toString().data(), Addition, "NULL"}));
}

TEST_F(ProviderSubscription, AsksNobody_WhenTheFirstEndIsAClassName) {
    addProvider();
    subscribeEnds(makeID(), {}, makeString("Directory"), makeString("DataFile"), Addition);
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(ProviderSubscription, NamesTheClassInTheFilter_WhenACreationIsOfOneInstance) {
    addProvider();
    subscribeEnds(makeID(), makeReference(file), {}, {}, Creation);
    EXPECT_THAT(*calls,
                ElementsAre(Call{"registerObserver", file->toString().data(), Creation, "DataFile[]"}));
}

TEST_F(ProviderSubscription, AsksTheServerForANullName_WhenACreationIsOfAClass) {
    // The server decides; one that answers with providers makes the call fail on the null name.
    addProvider();
    EXPECT_TRUE(subscribeClass(makeID(), "DataFile", Creation));
    EXPECT_THAT(*calls, IsEmpty());

    server.answersForNullName = true;
    EXPECT_THROW(subscribeClass(makeID(), "DataFile", Creation), ORVNullPointerException);
    EXPECT_THROW(unsubscribeClass(makeID(), "DataFile", Creation), ORVNullPointerException);
    EXPECT_THAT(*calls, IsEmpty());
}

TEST_F(ProviderSubscription, CopiesTheInstanceThatTheProviderGives) {
    RecordingProvider& provider = addProvider();
    provider.instance = makeObject(file);
    const ORVSmrPtr<IOrvoObject> copy = inside().getInstanceFromProvider(file);
    ASSERT_FALSE(copy.IsNull());
    EXPECT_FALSE(copy == provider.instance);
    EXPECT_EQ(copy->getInstanceName()->toString(), file->toString());
    EXPECT_EQ(server.lastNameSpace, "root/kob/velm");
    EXPECT_TRUE(provider.lastTransaction->isReleased());
}

TEST_F(ProviderSubscription, GivesANullHandle_WhenTheProviderHasNoSuchInstance) {
    addProvider();
    EXPECT_TRUE(inside().getInstanceFromProvider(file).IsNull());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ProviderSubscription, LogsAndGivesANullHandle_WhenTheInstanceCannotBeFetched) {
    const auto line = IsLogLine("CIndicationManager::_getInstanceFromProvider",
                                "Unable to get the provider for the specified className.DataFile", 1);
    EXPECT_TRUE(inside().getInstanceFromProvider(file).IsNull());
    EXPECT_THAT(log.records(), ElementsAre(line));

    addProvider(RecordingProvider::throwing());
    EXPECT_TRUE(inside().getInstanceFromProvider(file).IsNull());
    EXPECT_THAT(log.records(), ElementsAre(line, line));
}

TEST_F(ProviderSubscription, NamesTheClassThatWasNotFound) {
    for (const auto& value : {makeString("NoSuch"), makeReference(makeInstanceName("NoSuch"))}) {
        try {
            inside().throwClassNotFoundException(value);
            ADD_FAILURE() << "did not throw";
        } catch (const CIMOMException& failure) {
            EXPECT_EQ(failure.getMessage(), ORVString("The Class NoSuch is not a recognized class."));
            EXPECT_EQ(failure.getWho(), ORVString("CIndicationManager"));
            EXPECT_EQ(failure.getCode(), 5);
        }
    }
}

}  // namespace
}  // namespace velm::test
