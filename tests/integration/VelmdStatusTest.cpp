#include "tests/integration/FaceNumbers.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <string>

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What a real daemon tells of itself at /status.json and /metrics, and that all its faces and velmctl tell
// the same.

using namespace velm::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

namespace json = boost::json;

class VelmdStatus : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        subscribe(listener.port());
        subscribe(nobody.port());
        for (int number = 0; number < 3; ++number) {
            const std::string instance = itemInstance("EX_Item", std::to_string(number));
            ASSERT_EQ(client.call("CreateInstance", {{"NewInstance", instance}}).status(), 0);
        }
    }

    void subscribe(const std::string& port) {
        const WBEMAnswer answer =
            client.call("Subscribe", WBEMClient::subscriber(port) +
                                         WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                                {"ClassName", className("EX_Item")}});
        ASSERT_TRUE(answer.has("<VALUE>TRUE</VALUE>")) << answer.body;
    }

    std::string get(const std::string& path) const {
        return runProgram({"/usr/bin/curl", "--silent", "--show-error", "--fail",
                           "http://127.0.0.1:" + std::to_string(velmd.port()) + path})
            .output;
    }

    json::value status() const { return json::parse(get("/status.json")); }

    /// Until everything that was queued has ended.
    bool awaitEnd() const {
        return holdsInTime([this] {
            const json::value now = status();
            const json::value& counters = now.at("counters");
            return counters.at("delivered").to_number<int>() == 3 &&
                   counters.at("failed").at("connection refused").to_number<int>() +
                           counters.at("dropped").at("earlier one failed").to_number<int>() ==
                       3;
        });
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
    ScriptedListener listener{goodAnswer()};
    RefusingPort nobody;
    WBEMClient client{velmd.port()};
};

TEST_F(VelmdStatus, TellsWhoHearsAndWhoDoesNot) {
    ASSERT_TRUE(awaitEnd()) << get("/status.json");
    const json::value told = status();
    EXPECT_TRUE(told.at("isReady").as_bool());
    EXPECT_EQ(told.at("counters").at("reported").to_number<int>(), 3);
    EXPECT_EQ(told.at("counters").at("matched").to_number<int>(), 3);
    EXPECT_EQ(told.at("counters").at("queued").to_number<int>(), 6);
    const json::array& subscribers = told.at("subscribers").as_array();
    ASSERT_EQ(subscribers.size(), 2U);
    EXPECT_EQ(subscribers[0].at("port").as_string(), listener.port());
    EXPECT_EQ(subscribers[0].at("delivered").to_number<int>(), 3);
    EXPECT_EQ(subscribers[0].at("subscriptions").to_number<int>(), 1);
    EXPECT_FALSE(subscribers[0].at("isFailing").as_bool());
    EXPECT_EQ(subscribers[1].at("port").as_string(), nobody.port());
    EXPECT_TRUE(subscribers[1].at("isFailing").as_bool());
    EXPECT_THAT(std::string(subscribers[1].at("lastFailure").at("text").as_string()),
                HasSubstr("Connection refused"));
}

TEST_F(VelmdStatus, CountsRequestsByOperationAndStatus) {
    EXPECT_EQ(client.call("GetClass", {{"ClassName", className("EX_Missing")}}).status(), 6);
    const std::string metrics = get("/metrics");
    EXPECT_THAT(metrics, HasSubstr("velm_requests_total{operation=\"GetClass\",status=\"6\"} 1\n"));
    EXPECT_THAT(metrics, HasSubstr("velm_requests_total{operation=\"CreateInstance\",status=\"ok\"} 3\n"));
}

/// Besides one that hears and one that is not there: one that answers with an error, a channel, and one that
/// left.
class VelmdNumbers : public VelmdStatus {
protected:
    void SetUp() override {
        VelmdStatus::SetUp();
        subscribe(complaining.port());
        subscribe(gone.port());
        ASSERT_EQ(client
                      .call("Unsubscribe", WBEMClient::subscriber(gone.port()) +
                                               WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                                      {"ClassName", className("EX_Item")}})
                      .status(),
                  0);
        const auto identity = WBEMClient::subscriber("1", 9);
        channel.send(client.request("RegisterNotificationChannel", identity));
        ASSERT_EQ(channel.next().httpStatus, 200U);
        ASSERT_EQ(
            client
                .call("Subscribe", identity + WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                                     {"ClassName", className("EX_Item")}})
                .status(),
            0);
        for (int number = 10; number < 14; ++number) {
            const std::string instance = itemInstance("EX_Item", std::to_string(number));
            ASSERT_EQ(client.call("CreateInstance", {{"NewInstance", instance}}).status(), 0);
        }
        ASSERT_EQ(client.call("GetClass", {{"ClassName", className("EX_Missing")}}).status(), 6);
    }

    /// Everything that was queued has ended: 7 for each of two listeners, 4 for the third and for the
    /// channel.
    bool hasEnded() const {
        const Numbers now = numbersOfStatus(get("/status.json"));
        return sumOf(now, "indications", "delivered") + sumOf(now, "failed") + sumOf(now, "dropped") == 22;
    }

    static std::uint64_t sumOf(const Numbers& numbers, const std::string& kind,
                               const std::string& only = "") {
        std::uint64_t sum = 0;
        if (const auto found = numbers.find(kind); found != numbers.end()) {
            for (const auto& [name, number] : found->second) {
                sum += only.empty() || name == only ? number : 0;
            }
        }
        return sum;
    }

    ScriptedListener complaining{errorAnswer("the disk is full")};
    RefusingPort gone;
    ResponseSocket channel{velmd.port()};
};

TEST_F(VelmdNumbers, AreTheSameOnAllFaces) {
    ASSERT_TRUE(holdsInTime([this] { return hasEnded(); })) << get("/status.json");
    const Numbers numbers = numbersOfStatus(get("/status.json"));
    EXPECT_EQ(numbersOfMetrics(get("/metrics")), numbers);
    EXPECT_EQ(numbersOfPage(get("/")), numbers);
    const ProgramResult told = runProgram(
        {VELM_TEST_VELMCTL, "status", "--json", "--server", "127.0.0.1:" + std::to_string(velmd.port())});
    ASSERT_EQ(told.exitCode, 0) << told.output;
    EXPECT_EQ(numbersOfStatus(told.output), numbers);

    EXPECT_EQ(numbers.at("indications").at("reported"), 7U);
    EXPECT_EQ(numbers.at("indications").at("queued"), 22U);
    EXPECT_EQ(numbers.at("indications").at("improperAnswers"), 4U);
    EXPECT_GT(numbers.at("failed").at("connection refused"), 0U);
    EXPECT_EQ(numbers.at("requests").at("GetClass 6"), 1U);
    EXPECT_EQ(numbers.at("subscriber").at("127.0.0.1:" + listener.port() + "/1 delivered"), 7U);
    EXPECT_EQ(numbers.at("subscriber").at("127.0.0.1:" + nobody.port() + "/1 failing"), 1U);
    EXPECT_EQ(numbers.at("subscriber").at("127.0.0.1:1/9 delivered"), 4U);
}

TEST_F(VelmdStatus, HasMetricsThatPromtoolAccepts) {
    if (runProgram({"/bin/sh", "-c", "command -v promtool"}).exitCode != 0) {
        GTEST_SKIP() << "there is no promtool (package prometheus)";
    }
    ASSERT_TRUE(awaitEnd()) << get("/status.json");
    const auto file = directory.write("metrics.txt", get("/metrics"));
    const ProgramResult result =
        runProgram({"/bin/sh", "-c", "exec promtool check metrics < " + file.string() + " 2>&1"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(VelmdStatus, TellsRates_AfterAStep) {
    ASSERT_TRUE(awaitEnd());
    ASSERT_TRUE(holdsInTime([this] { return !status().at("rates").as_array().empty(); }));
    const json::value told = status();
    EXPECT_EQ(told.at("rateStep").to_number<int>(), 5);
    EXPECT_GT(told.at("rates").at(0).at("reported").to_number<double>(), 0);
}

}  // namespace
