#include "Indications/IndicationNotifier.h"

#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The running thread, seen from outside. Its pulse is one second, so these tests take one or two.

using namespace std::chrono_literals;
using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const char* const executeLocation = "CIndicationNotifier::execute";
const char* const goingOn = "Caught an Unknown exception, continuing back through while loop.";
const char* const noManager = "_subscriberManager is NULL";

const auto isNullEntryLine = IsLogLine(executeLocation, "iter()->key() is NULL", OrvoTraceLog::SeverityError);
const auto isGoingOnLine = IsLogLine(executeLocation, goingOn, OrvoTraceLog::SeverityError);
const auto isNoManagerLine = IsLogLine(executeLocation, noManager, OrvoTraceLog::SeverityError);

class IndicationNotifierThread : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(waitForDeliveryThreads(0)); }
};

}  // namespace

TEST_F(IndicationNotifierThread, SendsWhatIsQueued_WithinTwoPasses) {
    ScriptedListener listener;
    Host host(&everyHostIsRemote);
    const auto subscriber = subscriberAt(listener.port());
    queue(subscriber, {creation(), creation()});
    host.manager().add(subscriber);

    EXPECT_TRUE(listener.waitForRequests(2));
    ASSERT_TRUE(host.manager().waitForPasses(2));
    EXPECT_EQ(listener.requestCount(), 2U);
    EXPECT_THAT(host.manager().removals(), IsEmpty());
}

TEST_F(IndicationNotifierThread, EndsWithoutAPass_WhenShutDownInTheFirstSecond) {
    ScriptedListener listener;
    Host host(&everyHostIsRemote);
    const auto subscriber = subscriberAt(listener.port());
    queue(subscriber, {creation()});
    host.manager().add(subscriber);

    host.notifier->shutdown();
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_THAT(host.manager().passes(), IsEmpty());
    EXPECT_EQ(listener.connectionCount(), 0U);
}

TEST_F(IndicationNotifierThread, FinishesThePass_WhenShutDownDuringIt) {
    ScriptedListener first;
    first.queueAnswer(hangingAnswer());
    ScriptedListener second;
    Host host(&everyHostIsRemote);
    const auto one = subscriberAt(first.port());
    const auto other = subscriberAt(second.port());
    queue(one, {creation(), creation()});
    queue(other, {creation()});
    host.manager().add(one);
    host.manager().add(other);

    ASSERT_TRUE(first.waitForRequests(1));
    host.notifier->shutdown();
    first.release();
    EXPECT_TRUE(first.waitForRequests(2));
    EXPECT_TRUE(second.waitForRequests(1));
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_THAT(host.manager().passes(), SizeIs(1));
}

TEST_F(IndicationNotifierThread, LosesThePassOnly_WhenAnEntryIsNull) {
    LogCapture log;
    Host host(&everyHostIsRemote);
    host.manager().add(nullptr);

    ASSERT_TRUE(host.manager().waitForPasses(2));
    const auto passes = host.manager().passes();
    EXPECT_GE(passes[1] - passes[0], 950ms);
    ASSERT_TRUE(log.waitFor([](const LogCapture::Records& records) { return records.size() >= 4; }));
    EXPECT_THAT(log.records(), ElementsAre(isNullEntryLine, isGoingOnLine, isNullEntryLine, isGoingOnLine));
}

TEST_F(IndicationNotifierThread, SaysSoEverySecond_WhenItHasNoManager) {
    LogCapture log;
    CIndicationNotifier notifier(nullptr);

    ASSERT_TRUE(log.waitFor([](const LogCapture::Records& records) { return records.size() >= 4; }));
    notifier.shutdown();
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_THAT(log.records(), ElementsAre(isNoManagerLine, isGoingOnLine, isNoManagerLine, isGoingOnLine));
}

TEST_F(IndicationNotifierThread, SaysTheSame_WhenTheManagersHandleRefersToNothing) {
    LogCapture log;
    ORVSmrPtr<ISubscriberManager> self(static_cast<ISubscriberManager*>(nullptr));
    CIndicationNotifier notifier(self);
    EXPECT_TRUE(log.waitForMessage(noManager));
    EXPECT_TRUE(log.waitForMessage(goingOn));
}

TEST_F(IndicationNotifierThread, EndsWithItsNotifier_WhenNobodyShutItDown) {
    LogCapture log;
    SelfOwned owned;
    { CIndicationNotifier notifier(owned.self); }
    EXPECT_TRUE(waitForDeliveryThreads(0, 900ms));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(IndicationNotifierThread, EndsQuietly_WhenTheManagerIsDetached) {
    LogCapture log;
    Host host(&everyHostIsRemote);
    host.notifier->detachManager();
    host.notifier->detachManager();
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_THAT(host.manager().passes(), IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(IndicationNotifierThread, DropsTheManager_WhenDetached) {
    bool isGone = false;
    struct Manager : RecordingManager {
        explicit Manager(bool& gone) : isGone(gone) {}
        ~Manager() override { isGone = true; }
        bool& isGone;
    };
    CIndicationNotifier notifier(ORVSmrPtr<ISubscriberManager>(new Manager(isGone)));
    EXPECT_FALSE(isGone);
    notifier.detachManager();
    EXPECT_TRUE(isGone);
}

TEST_F(IndicationNotifierThread, LetsDetachWait_WhileItIsInsideTheManager) {
    const RefusingPort port;
    std::promise<void> entered;
    std::promise<void> leave;
    Host host(&everyHostIsRemote);
    host.manager().duringRemoval = [&] {
        entered.set_value();
        leave.get_future().wait();
    };
    const auto subscriber = subscriberAt(port.port());
    queue(subscriber, {creation()});
    host.manager().add(subscriber);

    ASSERT_EQ(entered.get_future().wait_for(patience), std::future_status::ready);
    auto detached = std::async(std::launch::async, [&] { host.notifier->detachManager(); });
    EXPECT_EQ(detached.wait_for(50ms), std::future_status::timeout);
    leave.set_value();
    EXPECT_EQ(detached.wait_for(patience), std::future_status::ready);
    EXPECT_THAT(host.manager().removals(), SizeIs(1));
}
