#include "velmd/status/Collector.h"

#include "tests/support/LibraryHost.h"
#include "tests/support/LogCapture.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace velm::status {
namespace {

using namespace std::chrono_literals;
using Classes = std::vector<std::pair<std::string, std::string>>;

class CollectorTest : public testing::Test {
protected:
    Collector::Parts parts() {
        return {*host.manager,
                [] { return 31; },
                [] { return 2; },
                [] { return 1; },
                [this] { return notReady; },
                [] {
                    return std::vector<Operation>{{"GetClass", "ok", 5}};
                },
                [] {
                    return std::vector<Provider>{{"files", "/x.so", {}, 0, 0, 0, 0, {}, {}, {}, 0, {}}};
                }};
    }

    test::LogCapture log;
    test::LibraryHost host{Classes{{"CIM_DataFile", ""}}};
    std::string notReady;
    Collector collector{parts()};
};

TEST_F(CollectorTest, PutsTheAnswersTogether) {
    const auto before = Time::clock::now();
    const ServerStatus status = collector.collect();
    EXPECT_FALSE(status.version.empty());
    EXPECT_FALSE(status.compiler.empty());
    EXPECT_GE(status.now, before);
    EXPECT_LE(status.started, before);
    EXPECT_TRUE(status.isReady);
    EXPECT_TRUE(status.indicationsEnabled);
    EXPECT_EQ(status.classes, 31U);
    EXPECT_EQ(status.connections, 2U);
    EXPECT_EQ(status.requestsUnderWay, 1U);
    EXPECT_EQ(status.operations.at(0).name, "GetClass");
    EXPECT_EQ(status.providers.at(0).name, "files");
    EXPECT_EQ(status.rateStep, 5s);
    EXPECT_TRUE(status.rates.empty());
}

TEST_F(CollectorTest, TellsWhyItIsNotReady) {
    notReady = "starting";
    EXPECT_FALSE(collector.collect().isReady);
    EXPECT_EQ(collector.collect().notReady, "starting");
}

TEST_F(CollectorTest, TellsWhetherIndicationsAreRecorded) {
    EXPECT_FALSE(collector.collect().logsIndications);
    CIndicationNotifier::logIndications(true);
    EXPECT_TRUE(collector.collect().logsIndications);
    CIndicationNotifier::logIndications(false);
    EXPECT_NE(collector.collect().indicationsLog.find("IndicationsLog.txt"), std::string::npos);
}

TEST_F(CollectorTest, TellsSubscribersAndCounters) {
    host.subscribe(ORVSmrPtr<CSubscriberID>(new CSubscriberID("127.0.0.1", "1", 7)), "CIM_DataFile");
    host.report("CIM_DataFile", "a");
    const ServerStatus status = collector.collect();
    EXPECT_EQ(status.counters.matched, 1U);
    ASSERT_EQ(status.subscribers.size(), 1U);
    EXPECT_EQ(status.subscribers[0].session, "7");
    EXPECT_EQ(status.subscribers[0].subscriptions, 1U);
    EXPECT_EQ(status.subscribers[0].queued, 1U);
}

TEST_F(CollectorTest, SamplesRates_WhenAStepHasGoneBy) {
    host.report("CIM_DataFile", "a");
    const auto now = RateHistory::Clock::now();
    collector.sampleRates(now + 1s);
    EXPECT_TRUE(collector.collect().rates.empty());
    collector.sampleRates(now + 10s);
    const auto rates = collector.collect().rates;
    ASSERT_FALSE(rates.empty());
    EXPECT_GT(rates[0].reported, 0);
}

}  // namespace
}  // namespace velm::status
