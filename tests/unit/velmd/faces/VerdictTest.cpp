#include "velmd/faces/Verdict.h"

#include "tests/support/SampleStatus.h"

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::faces {

namespace {

using namespace std::chrono_literals;
using status::Failure;
using status::ServerStatus;
using status::Subscriber;
using test::quietStatus;
using testing::ElementsAre;
using testing::HasSubstr;

const status::Time now = test::sampleNow();

Subscriber named(const std::string& host, std::uint64_t waiting = 0) {
    Subscriber subscriber;
    subscriber.host = host;
    subscriber.port = "1";
    subscriber.subscriptions = 1;
    subscriber.waiting = waiting;
    subscriber.delivered = 1;
    subscriber.since = now - 1h;
    subscriber.lastDelivery = now - 1min;
    return subscriber;
}

Subscriber failing(const std::string& host, std::chrono::seconds since) {
    Subscriber subscriber = named(host);
    subscriber.isFailing = true;
    subscriber.lastFailure = Failure{"failed to connect: refused", now - since, now, 3};
    return subscriber;
}

struct ReasonRow {
    const char* name;
    std::function<void(ServerStatus&)> change;
    const char* reason;
};

const ReasonRow reasonRows[]{
    {"NotReady",
     [](ServerStatus& status) {
         status.isReady = false;
         status.notReady = "it is stopping";
     },
     "Not ready: it is stopping"},
    {"SwitchedOff", [](ServerStatus& status) { status.indicationsEnabled = false; },
     "Indications are switched off: nothing is delivered."},
    {"OneFails",
     [](ServerStatus& status) {
         status.subscribers = {named("a"), failing("b", 250s)};
     },
     "1 of 2 subscribers is failing; b:1 for 4 min 10 s: failed to connect: refused"},
    {"SeveralFail",
     [](ServerStatus& status) {
         status.subscribers = {failing("a", 60s), failing("b", 250s), named("c")};
     },
     "2 of 3 subscribers are failing; b:1 for 4 min 10 s: failed to connect: refused"},
    {"FailsWithoutARecord",
     [](ServerStatus& status) {
         status.subscribers = {failing("a", 60s)};
         status.subscribers[0].lastFailure.reset();
     },
     "1 of 1 subscriber is failing; a:1"},
    {"Dropped",
     [](ServerStatus& status) {
         status.rateStep = 5s;
         status.rates.resize(120);
         status.rates[3].dropped = 2.4;
     },
     "12 indications were dropped within the last 10 min."},
    {"RemovedAfterAFailure",
     [](ServerStatus& status) {
         status.removed.resize(2);
         status.removed[1].host = "a";
         status.removed[1].port = "1";
         status.removed[1].when = now - 1min;
         status.removed[1].reason = "delivery failed";
         status.removed[1].lastFailure = Failure{"x", now, now, 1};
     },
     "1 subscriber was removed after a failure within the last 10 min; a:1: delivery failed"},
    {"ProviderFailed",
     [](ServerStatus& status) {
         status.providers.resize(2);
         status.providers[1].name = "links";
         status.providers[1].lastFailure = Failure{"it threw", now - 1h, now - 1min, 1};
     },
     "The provider links failed 1 min ago: it threw"},
};

class Reason : public testing::TestWithParam<ReasonRow> {};

}  // namespace

TEST_P(Reason, IsGiven) {
    ServerStatus status = quietStatus();
    GetParam().change(status);
    EXPECT_THAT(judge(status, "").reasons, ElementsAre(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(Reasons, Reason, testing::ValuesIn(reasonRows),
                         [](const auto& row) { return row.param.name; });

TEST(Verdict, IsHealthy_WhenThereIsNothingToSay) {
    EXPECT_TRUE(judge(quietStatus(), "").isHealthy());
}

TEST(Verdict, GivesTheIllnessFirst) {
    ServerStatus status = quietStatus();
    status.subscribers = {failing("a", 60s)};
    const Verdict verdict = judge(status, "nothing moves");
    ASSERT_EQ(verdict.reasons.size(), 2U);
    EXPECT_EQ(verdict.reasons[0], "The server does not get on: nothing moves");
}

TEST(Verdict, ForgetsWhatIsLongOver) {
    ServerStatus status = quietStatus();
    status.subscribers = {named("a")};
    status.subscribers[0].lastFailure = Failure{"x", now - 3h, now - 2h, 1};
    status.removed.resize(1);
    status.removed[0].when = now - 11min;
    status.removed[0].lastFailure = Failure{"x", now, now, 1};
    status.providers.resize(1);
    status.providers[0].lastFailure = Failure{"x", now - 11min, now - 11min, 1};
    EXPECT_THAT(judge(status, "").reasons, ElementsAre());
}

TEST(Standing, IsTheWorstThatHolds) {
    Subscriber subscriber = named("a", 3);
    EXPECT_EQ(standingOf(subscriber, now), Standing::waiting);
    subscriber.lastDelivery = now - 1s;
    EXPECT_EQ(standingOf(subscriber, now), Standing::fine) << "it is being served";
    subscriber.lastDelivery.reset();
    EXPECT_EQ(standingOf(subscriber, now), Standing::waiting) << "never served";
    subscriber.waiting = 0;
    EXPECT_EQ(standingOf(subscriber, now), Standing::fine);
    subscriber.delivered = 0;
    EXPECT_EQ(standingOf(subscriber, now), Standing::untested);
    subscriber.lastDrop = Failure{"x", now - 1h, now - 11min, 1};
    EXPECT_EQ(standingOf(subscriber, now), Standing::untested) << "long ago";
    subscriber.lastDrop->last = now - 1min;
    EXPECT_EQ(standingOf(subscriber, now), Standing::dropped);
    subscriber.isFailing = true;
    EXPECT_EQ(standingOf(subscriber, now), Standing::failing);
}

TEST(Standing, IsThatOfOneWhoLeft_WithoutSubscriptionsAndQueue) {
    Subscriber subscriber = named("a", 3);
    subscriber.subscriptions = 0;
    subscriber.lastDelivery = now - 1s;
    EXPECT_EQ(standingOf(subscriber, now), Standing::fine) << "what waits is delivered still";
    subscriber.waiting = 0;
    EXPECT_EQ(standingOf(subscriber, now), Standing::left);
    subscriber.lastDrop = Failure{"x", now - 1h, now - 1min, 1};
    EXPECT_EQ(standingOf(subscriber, now), Standing::left) << "nobody misses it";
}

TEST(Verdict, CountsNobodyWhoLeft) {
    ServerStatus status = quietStatus();
    status.subscribers = {named("a"), failing("b", 250s), named("c")};
    status.subscribers[0].subscriptions = 0;
    EXPECT_EQ(subscribedCount(status), 2U);
    EXPECT_THAT(judge(status, "").reasons, ElementsAre(HasSubstr("1 of 2 subscribers is failing")));
}

TEST(MostInteresting, AreThoseThatFailLongest_ThenThoseForWhomMostWaits) {
    ServerStatus status = quietStatus();
    status.subscribers = {named("left"),       named("fine"),        named("few", 2), failing("short", 10s),
                          named("many", 2000), failing("long", 60s), named("fresh")};
    status.subscribers[0].subscriptions = 0;
    status.subscribers[6].lastDelivery = now;
    std::vector<std::string> hosts;
    for (const Subscriber* subscriber : mostInteresting(status, 10)) {
        hosts.push_back(subscriber->host);
    }
    EXPECT_THAT(hosts, ElementsAre("long", "short", "many", "few", "fresh", "fine", "left"));
    const auto two = mostInteresting(status, 2);
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[1]->host, "short");
}

}  // namespace velm::faces
