#include "foundation/utilities/ORVNetUtil.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Listeners that would hold the delivery thread for ever. Each delivery takes the thirty seconds that an
// answer may take.

using namespace std::chrono_literals;
using namespace velm::test;
using std::chrono::steady_clock;

namespace {

/// Bytes that keep coming for a minute.
Answer trickling(const std::string& begin) {
    Answer answer = rawAnswer(begin + std::string(600, ' '));
    answer.pauseAfterByte = 100ms;
    return answer;
}

struct Attempt {
    ScriptedListener listener;
    bool isDelivered = false;
    steady_clock::duration duration{};
    std::thread thread{};

    explicit Attempt(const Answer& answer) : listener(answer) {}

    void begin(Delivery& delivery) {
        thread = std::thread([this, &delivery] {
            const auto start = steady_clock::now();
            isDelivered = delivery.fire(subscriberAt(listener.port()), creation());
            duration = steady_clock::now() - start;
        });
    }
};

}  // namespace

TEST(DeliveryDeadline, FreesTheThreadAfterThirtySeconds_HoweverAListenerDelays) {
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    Delivery remoteDelivery(owned.self, &everyHostIsRemote);
    LogCapture log;
    std::vector<std::unique_ptr<Attempt>> attempts;
    for (const Answer& answer : {hangingAnswer(), trickling("HTTP/1.1 200 OK\r\n"),
                                 trickling("HTTP/1.1 200 OK\r\nContent-Length: 550\r\n\r\n<CIM>")}) {
        for (Delivery* way : {&delivery, &remoteDelivery}) {
            attempts.push_back(std::make_unique<Attempt>(answer));
            attempts.back()->begin(*way);
        }
    }
    for (const auto& attempt : attempts) {
        attempt->thread.join();
        EXPECT_TRUE(attempt->isDelivered);
        EXPECT_GE(attempt->duration, 29s);
        EXPECT_LE(attempt->duration, 33s);
    }
    EXPECT_EQ(log.records().size(), attempts.size());
    for (const ORVLogRecord& record : log.records()) {
        EXPECT_THAT(record.message.data(),
                    testing::StartsWith(
                        "Caught the following exception attemptingto read an indication response from "));
    }
    EXPECT_TRUE(owned.manager.removals().empty());
}
