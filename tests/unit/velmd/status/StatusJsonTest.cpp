#include "velmd/status/StatusJson.h"

#include <chrono>
#include <string>

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

namespace {

namespace json = boost::json;
using namespace velm::status;
using namespace std::chrono_literals;

const Time moment{std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + 14h + 33min + 42s + 7ms};

json::object parsed(const ServerStatus& status) {
    return json::parse(toJson(status)).as_object();
}

TEST(StatusJson, NamesEveryMember_WhenThereIsNothingToTell) {
    const json::object document = parsed({});
    for (const char* name :
         {"version",         "compiler",           "now",      "started",     "isReady",
          "notReady",        "indicationsEnabled", "classes",  "connections", "requestsUnderWay",
          "logsIndications", "indicationsLog",     "counters", "latency",     "operations",
          "providers",       "subscribers",        "removed",  "rateStep",    "rates"}) {
        EXPECT_TRUE(document.contains(name)) << name;
    }
    EXPECT_TRUE(document.at("subscribers").as_array().empty());
    EXPECT_EQ(document.at("counters").at("reported").to_number<int>(), 0);
}

TEST(StatusJson, WritesTimesInUtcWithMilliseconds) {
    ServerStatus status;
    status.now = moment;
    EXPECT_EQ(parsed(status).at("now"), "2026-11-20T14:33:42.007Z");
}

TEST(StatusJson, WritesNull_ForWhatIsAbsent) {
    ServerStatus status;
    status.subscribers.emplace_back();
    const json::object document = parsed(status);
    const json::value& subscriber = document.at("subscribers").at(0);
    EXPECT_TRUE(subscriber.at("lastDelivery").is_null());
    EXPECT_TRUE(subscriber.at("lastFailure").is_null());
    EXPECT_TRUE(subscriber.at("lastDrop").is_null());
}

TEST(StatusJson, TellsAllOfASubscriber) {
    ServerStatus status;
    Subscriber subscriber;
    subscriber.host = "listener.example";
    subscriber.port = "5990";
    subscriber.session = "7";
    subscriber.waiting = 3;
    subscriber.lastDelivery = moment;
    subscriber.lastFailure = Failure{"failed: Connection refused", moment, moment + 1s, 4};
    subscriber.isFailing = true;
    status.subscribers.push_back(subscriber);
    const json::object document = parsed(status);
    const json::value& told = document.at("subscribers").at(0);
    EXPECT_EQ(told.at("host"), "listener.example");
    EXPECT_EQ(told.at("port"), "5990");
    EXPECT_EQ(told.at("session"), "7");
    EXPECT_EQ(told.at("waiting").to_number<int>(), 3);
    EXPECT_EQ(told.at("lastDelivery"), "2026-11-20T14:33:42.007Z");
    EXPECT_EQ(told.at("lastFailure").at("text"), "failed: Connection refused");
    EXPECT_EQ(told.at("lastFailure").at("since"), "2026-11-20T14:33:42.007Z");
    EXPECT_EQ(told.at("lastFailure").at("last"), "2026-11-20T14:33:43.007Z");
    EXPECT_EQ(told.at("lastFailure").at("count").to_number<int>(), 4);
    EXPECT_TRUE(told.at("isFailing").as_bool());
}

TEST(StatusJson, TellsCountersByReasonLatencyAndRates) {
    ServerStatus status;
    status.counters.failed["connection refused"] = 2;
    status.counters.dropped["queue full"] = 5;
    status.latency = {{0.5, 1}, {3, 4}, 1, 2.25};
    status.rateStep = 5s;
    status.rates = {{1, 2, 3, 4}};
    status.operations = {{"GetClass", "6", 9}};
    const json::object document = parsed(status);
    EXPECT_EQ(document.at("counters").at("failed").at("connection refused").to_number<int>(), 2);
    EXPECT_EQ(document.at("counters").at("dropped").at("queue full").to_number<int>(), 5);
    EXPECT_EQ(document.at("latency").at("bounds").at(0).to_number<double>(), 0.5);
    EXPECT_EQ(document.at("latency").at("counts").at(1).to_number<int>(), 4);
    EXPECT_EQ(document.at("latency").at("sum").to_number<double>(), 2.25);
    EXPECT_EQ(document.at("rateStep").to_number<int>(), 5);
    EXPECT_EQ(document.at("rates").at(0).at("dropped").to_number<double>(), 4);
    EXPECT_EQ(document.at("operations").at(0).at("status"), "6");
}

struct HostileText {
    const char* name;
    std::string text;
    std::string told;
};

class StatusJsonOfHostileText : public testing::TestWithParam<HostileText> {};

TEST_P(StatusJsonOfHostileText, StaysOneDocument) {
    ServerStatus status;
    status.subscribers.emplace_back().host = GetParam().text;
    const std::string document = toJson(status);
    EXPECT_EQ(document.find('\n'), std::string::npos);
    EXPECT_EQ(json::parse(document).at("subscribers").at(0).at("host").as_string(), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Texts, StatusJsonOfHostileText,
                         testing::Values(HostileText{"quotes", "a\"},{\"b", "a\"},{\"b"},
                                         HostileText{"backslash", "a\\", "a\\"},
                                         HostileText{"lineEnds", "a\r\nb", "a\r\nb"},
                                         HostileText{"markup", "<script>", "<script>"},
                                         HostileText{"zero", std::string("a\0b", 3), std::string("a\0b", 3)},
                                         HostileText{"strayByte", "a\xFF", "a\xEF\xBF\xBD"},
                                         HostileText{"cutCharacter", "\xC3", "\xEF\xBF\xBD"},
                                         HostileText{"umlaut", "\xC3\xA4", "\xC3\xA4"}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
