#include "velmd/providers/GatedProvider.h"

#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using ::testing::_;
using ::testing::Return;
using ::testing::Throw;

using Observer = ORVSmrPtr<IOrvoSubscriber>;
using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
using Transaction = ORVSmrPtr<IOrvoTransaction>;
using Type = IOrvoIndication::IndicationType;
using Classes = ORVSmrPtr<ORVValSlist<ORVString>>;

class MockProvider : public IProvider {
public:
    MOCK_METHOD(ORVSmrPtr<IOrvoValue>, registerObserver, (Name, Observer, Type, Filter, Transaction),
                (override));
    MOCK_METHOD(ORVSmrPtr<IOrvoValue>, deregisterObserver, (Name, Observer, Type, Filter, Transaction),
                (override));
    MOCK_METHOD(ORVSmrPtr<IOrvoObject>, getInstance, (const ORVString&, Name, Transaction), (override));
    MOCK_METHOD(Classes, getClassNames, (), (override));
    MOCK_METHOD(InstanceNames, enumerateInstanceNames, (const ORVString&, const ORVString&, Transaction),
                (override));
};

class GatedProviderTest : public testing::Test {
protected:
    MockProvider provider;
    const Observer gate{new RecordingSubscriber};
    const Observer observer{new RecordingSubscriber};
    const Name name = fileNamed("a");
    const Value answer = text("an answer");
    GatedProvider gated{provider, gate};
};

TEST_F(GatedProviderTest, RegistersTheGate_InPlaceOfTheObserver) {
    EXPECT_CALL(provider, registerObserver(name, gate, IOrvoIndication::IndicationChange, _, _))
        .WillOnce(Return(answer));
    EXPECT_EQ(gated.registerObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr),
              answer);
}

TEST_F(GatedProviderTest, DeregistersTheGate_InPlaceOfTheObserver) {
    EXPECT_CALL(provider, deregisterObserver(name, gate, IOrvoIndication::IndicationChange, _, _))
        .WillOnce(Return(answer));
    EXPECT_EQ(gated.deregisterObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr),
              answer);
}

TEST_F(GatedProviderTest, LetsWhatTheProviderThrowsThrough) {
    EXPECT_CALL(provider, registerObserver).WillOnce(Throw(std::runtime_error("no")));
    EXPECT_THROW(gated.registerObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr),
                 std::runtime_error);
}

TEST_F(GatedProviderTest, HandsOnQuestionsAsTheyAre) {
    const Object object = file();
    const Classes classes(new ORVValSlist<ORVString>);
    const IProvider::InstanceNames names(new ORVValSlist<Name>);
    EXPECT_CALL(provider, getInstance(ORVString(space), name, _)).WillOnce(Return(object));
    EXPECT_CALL(provider, getClassNames()).WillOnce(Return(classes));
    EXPECT_CALL(provider, enumerateInstanceNames(ORVString(space), ORVString("CIM_DataFile"), _))
        .WillOnce(Return(names));
    EXPECT_EQ(gated.getInstance(space, name, nullptr), object);
    EXPECT_EQ(gated.getClassNames(), classes);
    EXPECT_EQ(gated.enumerateInstanceNames(space, "CIM_DataFile", nullptr), names);
    EXPECT_EQ(gated.calls(), 3u);
    EXPECT_EQ(gated.failedCalls(), 0u);
    EXPECT_FALSE(gated.failures().last());
}

TEST_F(GatedProviderTest, CountsCalls_AndKeepsWhatTheLastFailedOneThrew) {
    EXPECT_CALL(provider, getInstance)
        .WillOnce(Throw(std::runtime_error("no disk")))
        .WillOnce(Return(file()))
        .WillOnce(Throw(std::runtime_error("no file")));
    EXPECT_THROW(gated.getInstance(space, name, nullptr), std::runtime_error);
    gated.getInstance(space, name, nullptr);
    EXPECT_THROW(gated.getInstance(space, name, nullptr), std::runtime_error);
    EXPECT_EQ(gated.calls(), 3u);
    EXPECT_EQ(gated.failedCalls(), 2u);
    const auto failure = gated.failures().last();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "getInstance: no file");
    EXPECT_EQ(failure->count, 2u);
    EXPECT_GE(failure->last, failure->since);
}

}  // namespace
}  // namespace velm::test
