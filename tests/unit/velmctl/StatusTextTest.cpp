#include "velmctl/commands/StatusText.h"

#include "velmctl/output/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using namespace velm::status;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::ResultOf;
using testing::SizeIs;

namespace {

const Time now{std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + 12h};

ServerStatus busyStatus() {
    ServerStatus status;
    status.version = "0.1.0";
    status.now = now;
    status.started = now - 125min;
    status.isReady = true;
    status.indicationsEnabled = true;
    status.classes = 31;
    status.counters = {120, 80, 80, 75, 0, {{"connection refused", 3}}, {{"earlier one failed", 2}},
                       {},  0,  0};
    status.rateStep = 30s;
    status.rates = {{100, 100, 0, 0}, {2, 1, 0, 0}, {4, 2, 0, 0}};
    status.latency = {{0.5, 2}, {60, 15}, 0, 40};
    for (int index = 0; index < 3; ++index) {
        Subscriber subscriber;
        subscriber.host = "127.0.0.1";
        subscriber.port = std::to_string(5990 + index);
        subscriber.session = "1";
        subscriber.subscriptions = 2;
        subscriber.lastDelivery = now - 3s;
        status.subscribers.push_back(subscriber);
    }
    status.subscribers[2].isFailing = true;
    status.subscribers[2].lastFailure = Failure{"connection refused", now - 3min, now - 2s, 12};
    status.subscribers[2].lastDrop = Failure{"7 dropped because an earlier one failed", now, now - 1min, 1};
    return status;
}

std::string textOf(const ServerStatus& status, StatusView view = {"127.0.0.1:5988"}) {
    std::string text;
    for (const std::string& line : statusLines(status, view, Output(false))) {
        text += line + "\n";
    }
    return text;
}

}  // namespace

TEST(StatusText, TellsTheHealthFirst) {
    EXPECT_THAT(textOf(busyStatus()),
                testing::StartsWith("velmd 0.1.0 at 127.0.0.1:5988: ready, up 2 h 5 min\n31 classes, 0 "
                                    "providers, 0 connections, 0 requests under way, log off\n"));
    ServerStatus status = busyStatus();
    status.isReady = false;
    status.notReady = "it stops";
    EXPECT_THAT(textOf(status), HasSubstr(": not ready, up 2 h 5 min\nNot ready: it stops\n"));
    EXPECT_FALSE(isHealthy(status));
    status = busyStatus();
    EXPECT_TRUE(isHealthy(status));
    status.indicationsEnabled = false;
    EXPECT_FALSE(isHealthy(status));
    EXPECT_THAT(textOf(status), HasSubstr("Indications are switched off"));
}

TEST(StatusText, CountsIndications_AndTellsTheLastMinute) {
    const std::string text = textOf(busyStatus());
    EXPECT_THAT(text, testing::ContainsRegex("since the start +120 +80 +80 +75 +3 +2\n"));
    EXPECT_THAT(text, testing::ContainsRegex("last minute +3.00/s +- +- +1.50/s +0/s +0/s\n"));
    EXPECT_THAT(text, HasSubstr("failed: connection refused 3\n"));
    EXPECT_THAT(text, HasSubstr("dropped: earlier one failed 2\n"));
    EXPECT_THAT(text, HasSubstr("half within 0.5 s, 99 of 100 within 2 s."));
}

TEST(StatusText, TellsOfHowManySecondsItKnows_RightAfterTheStart) {
    ServerStatus status = busyStatus();
    status.rateStep = 5s;
    status.rates = {{1, 1, 0, 0}, {3, 1, 0, 0}};
    EXPECT_THAT(textOf(status), testing::ContainsRegex("last 10 s +2.00/s +- +- +1.00/s +0/s +0/s\n"));
    status.rates.clear();
    EXPECT_THAT(textOf(status), Not(HasSubstr("/s ")));
}

TEST(StatusText, TellsWhatProvidersWatch) {
    ServerStatus status = busyStatus();
    status.providers.resize(2);
    Provider& files = status.providers[0];
    files.name = "file_watch";
    files.watched = {"/srv/incoming", "/srv/\x1b[31m"};
    files.observers.resize(5, {"CIM_DataFile", false, "Change", "", {}, status.now - 3min});
    files.observersLeftOut = 7;
    const std::string text = textOf(status);
    EXPECT_THAT(text, HasSubstr("    watches /srv/incoming, /srv/"));
    EXPECT_THAT(text, HasSubstr("CIM_DataFile (Change, since 3 min ago), CIM_DataFile (Change"));
    EXPECT_THAT(text, HasSubstr("8 more"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    files = {};
    EXPECT_THAT(textOf(status), Not(HasSubstr("watches")));
}

TEST(StatusText, HasThoseThatLeftLast_AndDoesNotCountThem) {
    ServerStatus status = busyStatus();
    status.subscribers[0].subscriptions = 0;
    status.subscribers[2].subscriptions = 0;
    const std::string text = textOf(status);
    EXPECT_THAT(text, HasSubstr("\n1 subscriber (+ 2 that left):\nSUBSCRIBER"));
    EXPECT_LT(text.find("127.0.0.1:5991/1"), text.find("127.0.0.1:5990/1"));
    EXPECT_THAT(text, testing::ContainsRegex("127.0.0.1:5990/1 +left "));
    EXPECT_THAT(text, testing::ContainsRegex("127.0.0.1:5992/1 +left "));
    EXPECT_THAT(text, Not(HasSubstr("times since")));
    status.subscribers[0].waiting = 1;
    EXPECT_THAT(textOf(status), testing::ContainsRegex("127.0.0.1:5990/1 +ok "));
    EXPECT_THAT(textOf(busyStatus()), Not(HasSubstr("that left")));
}

TEST(StatusText, TellsThatNobodyIsSubscribed_WhenAllHaveLeft) {
    ServerStatus status = busyStatus();
    for (Subscriber& subscriber : status.subscribers) {
        subscriber.subscriptions = 0;
    }
    EXPECT_THAT(textOf(status), HasSubstr("Nobody is subscribed (+ 3 that left). velmctl listen"));
}

TEST(StatusText, HasThoseThatFailFirst_WithTheirErrors) {
    const std::string text = textOf(busyStatus());
    EXPECT_LT(text.find("127.0.0.1:5992/1"), text.find("127.0.0.1:5990/1"));
    EXPECT_THAT(text, HasSubstr("    connection refused (12 times since 3 min ago, last 2 s ago)\n"));
    EXPECT_THAT(text, HasSubstr("    7 dropped because an earlier one failed (1 min ago)\n"));
}

TEST(StatusText, FitsTheTerminal) {
    ServerStatus status = busyStatus();
    status.subscribers[0].host = std::string(200, 'h') + ".example";
    status.subscribers[1].delivered = 12345678901234;
    status.providers.push_back({"a-provider-with-a-long-name",
                                "/x.so",
                                {"A"},
                                1,
                                2,
                                3,
                                4,
                                Failure{std::string(300, 'x'), now, now, 1},
                                {std::string(300, 'y')},
                                {{std::string(300, 'z'), true, "Change", "", {}, now}},
                                9,
                                {}});
    status.removed.push_back({"host.example",
                              "80",
                              "12345",
                              true,
                              now - 1h,
                              "channel replaced",
                              1,
                              2,
                              3,
                              Failure{"write failed", now, now, 1},
                              {}});
    EXPECT_THAT(statusLines(status, {"127.0.0.1:5988", 80}, Output(false)),
                Each(ResultOf(columnsOf, testing::Le(80U))));
}

TEST(StatusText, ListsSoManyThatDoNotFail) {
    ServerStatus status = busyStatus();
    const std::string text = textOf(status, {"127.0.0.1:5988", 80, 1});
    EXPECT_THAT(text, AllOf(HasSubstr(":5992/1"), HasSubstr(":5990/1"), Not(HasSubstr(":5991/1")),
                            HasSubstr("... and 1 that do not fail; --all shows them")));
}

TEST(StatusText, TellsOfThoseThatWereRemoved) {
    ServerStatus status = busyStatus();
    status.subscribers.clear();
    status.removed.push_back(
        {"host.example", "80", "7", false, now - 1h, "delivery failed", 1, 2, 3,
         Failure{"connection refused", now - 1h, now - 1h, 1},
         Failure{"3 dropped because the subscriber was removed", now - 1h, now - 1h, 3}});
    const std::string text = textOf(status);
    EXPECT_THAT(text, HasSubstr("Nobody is subscribed."));
    EXPECT_THAT(text, testing::ContainsRegex("host.example:80/7 +1 h ago +delivery failed +1 +5\n"));
    EXPECT_THAT(text, HasSubstr("    connection refused (1 h ago)\n"));
    EXPECT_THAT(text, HasSubstr("    3 dropped because the subscriber was removed (1 h ago)\n"));
}

TEST(StatusText, ShowsTextOfOthersWithoutItsControlCharacters) {
    ServerStatus status = busyStatus();
    status.version = "1\x1b[2J";
    status.subscribers[2].host = "h\x1b]0;x\x07";
    status.subscribers[2].lastFailure->text = "no\nyes\x1b[31m";
    EXPECT_THAT(textOf(status), Not(HasSubstr("\x1b")));
    EXPECT_THAT(textOf(status), HasSubstr(R"(no\x0ayes\x1b[31m)"));
}
