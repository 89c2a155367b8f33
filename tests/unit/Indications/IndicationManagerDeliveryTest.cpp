#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/ScriptedListener.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <chrono>
#include <string>
#include <thread>

#include <gmock/gmock.h>

// The real manager and its real delivery thread together: who is removed by whom, and how they end.
namespace velm::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto Change = IOrvoIndication::IndicationChange;

class ManagerDelivery : public IndicationManagerTest {
protected:
    ManagerDelivery() {
        inspect(*manager).replaceNotifier(
            new TestNotifier(inspect(*manager).smartThis(), &everyHostIsRemote));
    }

    bool waitUntilForgotten(const ORVSmrPtr<CSubscriberID>& id) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (isKnown(id)) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    bool isKnown(const ORVSmrPtr<CSubscriberID>& id) {
        const auto subscribers = manager->getCurrentSubscribers();
        for (const ORVSmrPtr<CSubscriber>& subscriber : *subscribers) {
            if (*subscriber->getSubscriberID() == *id) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(ManagerDelivery, ForgetsARemoteSubscriberThatRefuses_AndTellsProvidersAtTheNextCleanUp) {
    addProvider();
    const RefusingPort port;
    const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("127.0.0.1", ORVString(port.port()), 1));
    subscribeChange(id, file);
    calls->clear();

    manager->notify(makeIndication(makeObject(file), Change));

    ASSERT_TRUE(waitUntilForgotten(id));
    EXPECT_THAT(*calls, IsEmpty());
    EXPECT_EQ(inspect(*manager).pendingSubscriberRecords(), 1u);
    manager->checkSubscriberStatus();
    EXPECT_THAT(methodsCalled(), ElementsAre("deregisterObserver"));
}

TEST_F(ManagerDelivery, TouchesNothingThatIsGone_WhenTheManagerEndsWhileAChannelFails) {
    for (int round = 0; round < 8; ++round) {
        auto fresh = std::make_unique<CIndicationManager>(server);
        fresh->enableIndications();
        ChannelPeer peer;
        const auto id = makeID("client", static_cast<std::uint32_t>(round));
        fresh->registerNotificationChannel(id, "s", "1", peer.connection(), 0);
        fresh->subscribe(id, file, nullptr, Change, "s", "1", false);
        // The peer is gone for the delivery thread, but the monitor must not be faster.
        peer.connection()->getTransport()->close();
        fresh->notify(makeIndication(makeObject(file), Change));
        const auto pass = std::chrono::steady_clock::now() + 960ms + 10ms * round;
        while (std::chrono::steady_clock::now() < pass) {
            std::this_thread::yield();
        }
        fresh.reset();
    }
    EXPECT_TRUE(waitForDeliveryThreads(1));
}

TEST_F(ManagerDelivery, LetsAProviderWaitForADestructor_WhenItIsToldByTheDeliveryThread) {
    // The provider is told by the delivery thread, under no lock that detachManager() needs longer than a
    // moment.
    std::atomic<int> asked{0};
    // Before any thread of the manager's can ask for providers.
    addProvider([&](const RecordingProvider::Call& call) {
        if (call.method == "deregisterObserver") {
            ++asked;
            manager->getIndicationNotifier()->detachManager();
        }
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });
    const auto id = makeID("client");
    ChannelPeer peer;
    manager->registerNotificationChannel(id, "s", "1", peer.connection(), 0);
    subscribeChange(id, file);
    peer.reset();
    manager->notify(makeIndication(makeObject(file), Change));
    ASSERT_TRUE(waitUntilForgotten(id));
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (asked == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace velm::test
