#include "Indications/IndicationNotifier.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The end of a notifier and its manager while the thread is inside a delivery. The fault model: a listener
// may hang at any point, answer byte by byte, reset or refuse; the manager may end at any point. To be seen
// under a sanitizer: no use of what is gone, no leak once the thread has ended, and an end that never waits
// for the network.

using namespace std::chrono_literals;
using namespace velm::test;
using std::chrono::steady_clock;
using testing::IsEmpty;

namespace {

constexpr auto longestEnd = 2s;  // a hanging delivery would take thirty

/// Answers of listeners that keep a delivery busy, or break it.
std::vector<Answer> faults() {
    Answer silentFromTheStart = hangingAnswer();
    silentFromTheStart.reading = Answer::Reading::nothing;
    Answer stopsAfterTheHead = rawAnswer("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n<CIM");
    stopsAfterTheHead.end = Answer::End::hang;
    Answer byteByByte = goodAnswer();
    byteByByte.pauseAfterByte = 2ms;
    Answer resetsInTheMiddle = rawAnswer("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n<CIM");
    resetsInTheMiddle.end = Answer::End::reset;
    return {silentFromTheStart, hangingAnswer(),   stopsAfterTheHead, byteByByte,
            resetsInTheMiddle,  resettingAnswer(), closingAnswer(),   goodAnswer()};
}

/// Ends `host` and answers how long that took.
steady_clock::duration timeToEnd(std::unique_ptr<Host>& host) {
    const auto begin = steady_clock::now();
    host.reset();
    return steady_clock::now() - begin;
}

class NotifierDestruction : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(waitForDeliveryThreads(0)); }
};

}  // namespace

TEST_F(NotifierDestruction, DoesNotWait_WhileAListenerHangs) {
    ScriptedListener listener(hangingAnswer());
    auto host = std::make_unique<Host>(&everyHostIsRemote);
    const auto subscriber = subscriberAt(listener.port());
    queue(subscriber, {creation(), creation()});
    host->manager().add(subscriber);
    ASSERT_TRUE(listener.waitForRequests(1));

    EXPECT_LT(timeToEnd(host), longestEnd);
    EXPECT_EQ(deliveryThreadCount(), 1U);

    // What the pass has taken is still sent.
    listener.release();
    EXPECT_TRUE(listener.waitForRequests(2));
    EXPECT_TRUE(waitForDeliveryThreads(0));
}

TEST_F(NotifierDestruction, DoesNotWait_WhileAChannelIsNotRead) {
    constexpr std::size_t moreThanTheKernelBuffers = 16 * 1024 * 1024;
    ChannelPeer peer;
    auto host = std::make_unique<Host>(&everyHostIsRemote);
    const auto subscriber = subscriberAt("5990", peer.connection());
    queue(subscriber, {creation(moreThanTheKernelBuffers), creation()});
    host->manager().add(subscriber);
    ASSERT_TRUE(host->manager().waitForPasses(1));

    EXPECT_LT(timeToEnd(host), longestEnd);
    peer.reset();
    EXPECT_TRUE(waitForDeliveryThreads(0));
}

TEST_F(NotifierDestruction, LeavesAFailedDeliveryBehindQuietly_WhenTheManagerIsGone) {
    ScriptedListener listener(hangingAnswer());
    auto host = std::make_unique<Host>(&everyHostIsRemote);
    const auto subscriber = subscriberAt(listener.port());
    queue(subscriber, {creation(), unsendable(), creation()});
    host->manager().add(subscriber);
    ASSERT_TRUE(listener.waitForRequests(1));
    host.reset();

    LogCapture log;
    listener.release();
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_EQ(listener.requestCount(), 1U);
    const std::string peer = "127.0.0.1:" + listener.port();
    EXPECT_EQ(log.count("Caught an Unknown exception attemptingto stream an indication to " + peer), 1U);
    EXPECT_EQ(log.count("Dropped 1 indication(s) queued for " + peer + " because an earlier one failed"), 1U);
    EXPECT_EQ(log.count("_subscriberManager is NULL"), 0U);
    EXPECT_EQ(log.count("Caught an Unknown exception, continuing back through while loop."), 0U);
}

TEST_F(NotifierDestruction, IsSafe_AtManyMomentsOfAPass) {
    // All threads pass a second after their start, so the ends are spread round that moment.
    constexpr int hostsPerFault = 12;
    constexpr auto firstEnd = 960ms;
    constexpr auto step = 1ms;
    const RefusingPort nobody;
    std::vector<std::unique_ptr<ScriptedListener>> listeners;
    std::vector<std::unique_ptr<ChannelPeer>> peers;
    std::vector<std::unique_ptr<Host>> hosts;

    const auto begin = steady_clock::now();
    const auto addHost = [&](const ORVSmrPtr<CSubscriber>& first, const ORVSmrPtr<CSubscriber>& second) {
        hosts.push_back(std::make_unique<Host>(&everyHostIsRemote));
        for (const auto& subscriber : {first, second}) {
            queue(subscriber, {creation(), unsendable()});
            hosts.back()->manager().add(subscriber);
        }
    };
    for (const Answer& fault : faults()) {
        listeners.push_back(std::make_unique<ScriptedListener>(fault));
    }
    for (int turn = 0; turn < hostsPerFault; ++turn) {
        for (const auto& listener : listeners) {
            peers.push_back(std::make_unique<ChannelPeer>());
            addHost(subscriberAt("5990", peers.back()->connection()), subscriberAt(listener->port()));
        }
        peers.push_back(std::make_unique<ChannelPeer>());
        addHost(subscriberAt(nobody.port()), subscriberAt("5990", peers.back()->connection()));
        peers.back()->reset();
    }

    auto next = begin + firstEnd;
    for (auto& host : hosts) {
        std::this_thread::sleep_until(next);
        EXPECT_LT(timeToEnd(host), longestEnd);
        next += step;
    }
    for (auto& listener : listeners) {
        listener->stop();
    }
    EXPECT_TRUE(waitForDeliveryThreads(0, 20s));
}

TEST_F(NotifierDestruction, IsSafe_AtEveryStepOfADelivery) {
    // The steps without the one-second pulse, so that many ends meet many steps.
    constexpr int turns = 60;
    const RefusingPort nobody;
    for (const Answer& fault : faults()) {
        ScriptedListener listener(fault);
        std::vector<std::thread> deliveries;
        for (int turn = 0; turn < turns; ++turn) {
            auto owned = std::make_unique<SelfOwned>();
            for (const auto& subscriber : {subscriberAt(nobody.port()), subscriberAt(listener.port())}) {
                queue(subscriber, {creation(), unsendable(), creation()});
                owned->manager.add(subscriber);
            }
            auto delivery = std::make_shared<Delivery>(owned->self, &everyHostIsRemote);
            deliveries.emplace_back([delivery] { delivery->_pass(); });
            std::this_thread::sleep_for(turn * 20us);

            const auto begin = steady_clock::now();
            delivery->detachManager();
            owned.reset();
            EXPECT_LT(steady_clock::now() - begin, longestEnd);
        }
        listener.stop();
        for (std::thread& thread : deliveries) {
            thread.join();
        }
    }
}

TEST_F(NotifierDestruction, IsSafe_RightAfterConstruction) {
    SelfOwned owned;
    for (int turn = 0; turn < 300; ++turn) {
        CIndicationNotifier notifier(owned.self);
        if (turn % 2 != 0) {
            notifier.shutdown();
        }
    }
    EXPECT_TRUE(waitForDeliveryThreads(0));
    EXPECT_THAT(owned.manager.passes(), IsEmpty());
}
