#include "velmd/providers/GatedProvider.h"

#include "foundation/object_model/COrvoValue.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <chrono>
#include <numeric>
#include <stdexcept>
#include <thread>

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
    ObserverTable observers;
    GatedProvider gated{provider, gate, observers};

    Value registerChange() {
        return gated.registerObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr);
    }
    Value deregisterChange() {
        return gated.deregisterObserver(name, observer, IOrvoIndication::IndicationChange, nullptr, nullptr);
    }
    std::uint64_t callsOf(GatedProvider::Operation operation) const {
        const auto counts = gated.durations()[static_cast<std::size_t>(operation)].figures().counts;
        return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    }
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

TEST_F(GatedProviderTest, NotesWhatTheProviderAcceptsToWatch_UntilItIsTakenBack) {
    EXPECT_CALL(provider, registerObserver).WillRepeatedly(Return(Value(new COrvoValue(true))));
    EXPECT_CALL(provider, deregisterObserver).WillRepeatedly(Return(Value(new COrvoValue(true))));
    registerChange();
    ASSERT_EQ(observers.size(), 1u);
    EXPECT_EQ(observers.first(1)[0].subject, name->toString().view());
    deregisterChange();
    EXPECT_EQ(observers.size(), 0u);
}

TEST_F(GatedProviderTest, DoesNotNoteWhatTheProviderRefuses) {
    EXPECT_CALL(provider, registerObserver)
        .WillOnce(Return(Value(new COrvoValue(false))))
        .WillOnce(Return(Value()))
        .WillOnce(Return(text("true")))
        .WillOnce(Throw(std::runtime_error("no")));
    for (int refusal = 0; refusal < 3; ++refusal) {
        registerChange();
    }
    EXPECT_THROW(registerChange(), std::runtime_error);
    EXPECT_EQ(observers.size(), 0u);
}

TEST_F(GatedProviderTest, ForgetsWhatIsTakenBack_AlsoWhenTheProviderThrows) {
    EXPECT_CALL(provider, registerObserver).WillOnce(Return(Value(new COrvoValue(true))));
    EXPECT_CALL(provider, deregisterObserver).WillOnce(Throw(std::runtime_error("no")));
    registerChange();
    EXPECT_THROW(deregisterChange(), std::runtime_error);
    EXPECT_EQ(observers.size(), 0u);
}

TEST_F(GatedProviderTest, TimesEachOperationByItself_ThoseThatThrowToo) {
    EXPECT_CALL(provider, getInstance)
        .WillOnce([](auto&&...) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            return file();
        })
        .WillOnce(Throw(std::runtime_error("no")));
    EXPECT_CALL(provider, registerObserver).WillOnce(Return(answer));
    gated.getInstance(space, name, nullptr);
    EXPECT_THROW(gated.getInstance(space, name, nullptr), std::runtime_error);
    registerChange();
    EXPECT_EQ(callsOf(GatedProvider::Operation::getInstance), 2u);
    EXPECT_EQ(callsOf(GatedProvider::Operation::registerObserver), 1u);
    EXPECT_EQ(callsOf(GatedProvider::Operation::deregisterObserver), 0u);
    const auto figures =
        gated.durations()[static_cast<std::size_t>(GatedProvider::Operation::getInstance)].figures();
    EXPECT_GE(figures.sum, std::chrono::milliseconds(2));
}

}  // namespace
}  // namespace velm::test
