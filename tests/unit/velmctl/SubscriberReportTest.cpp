#include "velmctl/commands/SubscriberReport.h"

#include "velmctl/client/ClientError.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Why a listener hears nothing, from what the daemon tells.

using namespace velm;
using namespace velm::status;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

const Time now{std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + 12h};

/// A subscriber with whom all is well.
ServerStatus wellStatus() {
    ServerStatus status;
    status.version = "1";
    status.now = now;
    status.isReady = true;
    status.indicationsEnabled = true;
    status.counters.reported = 10;
    Subscriber subscriber;
    subscriber.host = "127.0.0.1";
    subscriber.port = "5990";
    subscriber.session = "1";
    subscriber.since = now - 1h;
    subscriber.subscriptions = 2;
    subscriber.queued = 5;
    subscriber.delivered = 5;
    subscriber.lastDelivery = now - 3s;
    status.subscribers.push_back(subscriber);
    return status;
}

struct Case {
    const char* name;
    std::function<void(ServerStatus&, Subscriber&)> change;
    bool isWell;
    const char* finding;
    const char* advice;
};

void PrintTo(const Case& row, std::ostream* out) {
    *out << row.name;
}

const Case cases[]{
    {"AllWell", [](auto&, auto&) {}, true, "All is well", "velmctl log on"},
    {"Failing",
     [](auto&, Subscriber& it) {
         it.isFailing = true;
         it.lastFailure = Failure{"failed to connect", now - 5min, now - 1s, 3};
     },
     false, "does not arrive", "velmctl ping-listener 127.0.0.1:5990"},
    {"FailingForGood", [](auto&, Subscriber& it) { it.isFailing = true; }, false, "does not arrive",
     "\nTo be rid of it: velmctl unsubscribe CLASS --to 127.0.0.1:5990 --session 1"},
    {"FailedBeforeItLeft",
     [](auto&, Subscriber& it) {
         it.isFailing = true;
         it.subscriptions = 0;
     },
     false, "subscribed to nothing", "velmctl subscribe CLASS"},
    {"FailingChannel", [](auto&, Subscriber& it) { it.isFailing = it.isChannel = true; }, false,
     "does not arrive", "open the channel anew"},
    {"NotReady",
     [](ServerStatus& all, auto&) {
         all.isReady = false;
         all.notReady = "it stops";
     },
     false, "not ready to deliver: it stops", "velmctl status"},
    {"SwitchedOff", [](ServerStatus& all, auto&) { all.indicationsEnabled = false; }, false,
     "indications are switched off", "velmctl status"},
    {"NothingSubscribed", [](auto&, Subscriber& it) { it.subscriptions = 0; }, false, "subscribed to nothing",
     "velmctl subscribe CLASS --to 127.0.0.1:5990"},
    {"NothingReported",
     [](ServerStatus& all, Subscriber& it) {
         all.counters.reported = 0;
         it.queued = it.delivered = 0;
     },
     true, "Nothing was reported", "velmctl emit"},
    {"NothingFits", [](auto&, Subscriber& it) { it.queued = it.delivered = 0; }, true,
     "None of the 10 reported events", "velmctl dump"},
    {"OnTheWay",
     [](auto&, Subscriber& it) {
         it.delivered = 0;
         it.waiting = 1;
     },
     true, "1 indication is on the way", "Look again"},
    {"OddAnswers", [](auto&, Subscriber& it) { it.improperAnswers = 1; }, true, "not all were answered",
     "velmctl ping-listener 127.0.0.1:5990"},
    {"LostSome", [](auto&, Subscriber& it) { it.dropped = 3; }, true, "has lost indications", "log"},
};

SubscriberReport reportOn(const ServerStatus& status, const char* name) {
    const auto reports = reportSubscribers(status, SubscriberName::parse(name));
    EXPECT_EQ(reports.size(), 1U);
    return reports.front();
}

}  // namespace

class SubscriberFinding : public testing::TestWithParam<Case> {};

TEST_P(SubscriberFinding, NamesTheCauseAndTheNextStep) {
    ServerStatus status = wellStatus();
    GetParam().change(status, status.subscribers[0]);
    const SubscriberReport report = reportOn(status, "127.0.0.1:5990");
    EXPECT_EQ(report.name, "127.0.0.1:5990/1");
    EXPECT_EQ(report.isWell, GetParam().isWell);
    EXPECT_THAT(report.finding, HasSubstr(GetParam().finding));
    EXPECT_THAT(report.advice, HasSubstr(GetParam().advice));
}

INSTANTIATE_TEST_SUITE_P(Cases, SubscriberFinding, testing::ValuesIn(cases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SubscriberReports, AreThoseOfEverySession_UnlessOneIsNamed) {
    ServerStatus status = wellStatus();
    status.subscribers.push_back(status.subscribers[0]);
    status.subscribers[1].session = "2";
    EXPECT_EQ(reportSubscribers(status, SubscriberName::parse("127.0.0.1:5990")).size(), 2U);
    EXPECT_EQ(reportOn(status, "127.0.0.1:5990/2").name, "127.0.0.1:5990/2");
}

TEST(SubscriberReports, TellOfOneThatWasRemoved_UnlessItIsBack) {
    ServerStatus status = wellStatus();
    status.removed.push_back({"127.0.0.1",
                              "5990",
                              "1",
                              false,
                              now - 2min,
                              "expired",
                              1,
                              0,
                              2,
                              {},
                              Failure{"2 dropped", now - 2min, now - 2min, 2}});
    EXPECT_THAT(reportOn(status, "127.0.0.1:5990").finding, HasSubstr("All is well"));
    status.subscribers.clear();
    const SubscriberReport report = reportOn(status, "127.0.0.1:5990");
    EXPECT_FALSE(report.isWell);
    EXPECT_THAT(report.details[0].second, HasSubstr("2 min ago: expired"));
    EXPECT_EQ(report.details.back(),
              std::pair(std::string("last drop"), std::string("2 dropped (2 min ago)")));
    EXPECT_THAT(report.advice, HasSubstr("velmctl subscribe CLASS --to 127.0.0.1:5990"));
}

TEST(SubscriberReports, NameThoseThatMayHaveBeenMeant) {
    const SubscriberReport report = reportOn(wellStatus(), "localhost:5990/4");
    EXPECT_FALSE(report.isWell);
    EXPECT_THAT(report.finding, HasSubstr("There is 127.0.0.1:5990/1; host and session count"));
    EXPECT_THAT(report.advice, HasSubstr("--to localhost:5990 --session 4"));
    EXPECT_EQ(reportOn(wellStatus(), "127.0.0.1:6000").finding, "Nobody of this name is subscribed.");
}

TEST(SubscriberName, IsAnAddressWithASession) {
    EXPECT_EQ(SubscriberName::parse("[::1]:80/7").text(), "[::1]:80/7");
    EXPECT_EQ(SubscriberName::parse("host:80").text(), "host:80");
    for (const char* text : {"host", "host:80/", "host:80/x", "/1", ""}) {
        EXPECT_THROW(SubscriberName::parse(text), ClientError) << text;
    }
}
