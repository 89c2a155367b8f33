#include "velmd/faces/StatusPage.h"

#include "tests/support/SampleStatus.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::faces {

namespace {

using namespace std::chrono_literals;
using test::crowdedStatus;
using test::livelyStatus;
using test::quietStatus;
using test::statusFullOf;
using testing::HasSubstr;
using testing::Not;

std::size_t countOf(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (auto found = text.find(part); found != text.npos; found = text.find(part, found + part.size())) {
        ++count;
    }
    return count;
}

std::string pageOf(const status::ServerStatus& status, bool refreshes = true) {
    return statusPage(status, "", {refreshes});
}

/// The row of the subscriber with this address.
std::string rowOf(const std::string& section, const std::string& address) {
    const auto name = section.find("<bdi>" + address + "</bdi>");
    if (name == section.npos) {
        return {};
    }
    const auto begin = section.rfind("<tr", name);
    return section.substr(begin, section.find("</tr>", name) - begin);
}

}  // namespace

TEST(StatusPage, BeginsWithTheStateInWords) {
    const std::string healthy = pageOf(quietStatus());
    EXPECT_THAT(healthy, HasSubstr("<h1>Healthy</h1>"));
    EXPECT_THAT(healthy, HasSubstr("<title>Healthy"));
    EXPECT_THAT(healthy, HasSubstr("Nobody is subscribed; nothing waits to be delivered."));
    const std::string attention = pageOf(livelyStatus());
    EXPECT_THAT(attention, HasSubstr("<h1>Attention</h1>"));
    EXPECT_THAT(attention, HasSubstr("<title>Attention"));
    EXPECT_THAT(attention, HasSubstr("1 of 5 subscribers is failing; monitoring.example.org:5990 for 20 min: "
                                     "failed to connect: Connection refused"));
    EXPECT_THAT(statusPage(quietStatus(), "nothing moves", {}), HasSubstr("<h1>Attention</h1>"));
}

TEST(StatusPage, TellsVersionAndTimes) {
    const std::string page = pageOf(quietStatus());
    EXPECT_THAT(page, HasSubstr("<bdi>0.1.0</bdi>"));
    EXPECT_THAT(page, HasSubstr("up 3 d 4 h, since"));
    EXPECT_THAT(page, HasSubstr("22:31:07 UTC"));
}

TEST(StatusPage, AsksForItself_UnlessItIsPaused) {
    const std::string running = pageOf(quietStatus());
    EXPECT_THAT(running, HasSubstr("<meta http-equiv=\"refresh\" content=\"10\">"));
    EXPECT_THAT(running, HasSubstr("<a href=\"/?refresh=off\">pause</a>"));
    EXPECT_THAT(running, HasSubstr("<iframe sandbox src=\"/tables?excerpt\""));
    EXPECT_THAT(running, HasSubstr("<a href=\"/?refresh=off#tables\">Pause the page</a>"));
    const std::string paused = pageOf(quietStatus(), false);
    EXPECT_THAT(paused, Not(HasSubstr("http-equiv")));
    EXPECT_THAT(paused, HasSubstr("<a href=\"/\">go on</a>"));
    EXPECT_THAT(paused, HasSubstr("<iframe sandbox src=\"/tables?excerpt\""));
    EXPECT_THAT(paused, Not(HasSubstr("Pause the page")));
}

TEST(StatusPage, HoldsNoScriptAndNoStyleOfItsOwn) {
    const std::string page = pageOf(livelyStatus());
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    EXPECT_THAT(page, Not(HasSubstr("javascript:")));
    EXPECT_THAT(page, Not(HasSubstr("<style")));
    EXPECT_THAT(page, Not(HasSubstr(" style=")));
    EXPECT_THAT(page, Not(testing::ContainsRegex(" on[a-z]+="))) << "no handler of events";
}

/// Whatever a client is called, it adds neither an element nor an attribute: the page has as many of the
/// characters that make them as with a harmless name.
TEST(StatusPage, ShowsHostileTextAsText_InEveryField) {
    const std::string harmless = pageOf(statusFullOf(std::string(30, 'x')));
    for (const char* hostile : {"<script>alert(1)</script>xxxxx", "\"><img src=x onerror=a()>xxx",
                                "' onload='alert(1)' x='xxxxxx", "<!-- xxxxxxxxxxxxxxxxxxxxxxxxx",
                                "</title></style></td></tablexx", "]]><![CDATA[<b>&lt;&#60;xxxxxx"}) {
        const std::string page = pageOf(statusFullOf(hostile));
        for (const char* mark : {"<", ">", "\"", "'"}) {
            EXPECT_EQ(countOf(page, mark), countOf(harmless, mark)) << hostile << mark;
        }
        EXPECT_GT(countOf(page, escaped(hostile)), 14U) << "shown in every field: " << hostile;
    }
}

TEST(StatusPage, CutsLongText_InEveryField) {
    const std::string page = pageOf(statusFullOf(std::string(1'000'000, 'W')));
    EXPECT_LT(page.size(), 40'000U);
    EXPECT_THAT(page, Not(HasSubstr(std::string(longestShown * 4 + 1, 'W'))));
}

TEST(StatusPage, IsWholeWithoutSubscribers) {
    const std::string section = subscribersSection(quietStatus());
    EXPECT_THAT(section, HasSubstr("Nobody is subscribed."));
    EXPECT_THAT(section, Not(HasSubstr("<table")));
    EXPECT_EQ(removedSection(quietStatus()), "");
    EXPECT_THAT(providersSection(quietStatus()), HasSubstr("None is loaded"));
}

TEST(StatusPage, ShowsOneSubscriberAsOneRow) {
    const std::string section = subscribersSection(crowdedStatus(1));
    EXPECT_EQ(countOf(section, "<tr"), 2U) << "with the head";
    EXPECT_THAT(section, HasSubstr("<caption>1 subscriber, "));
    EXPECT_THAT(section, Not(HasSubstr("left out")));
}

TEST(StatusPage, ShowsTheMostInteresting_OfTenThousand) {
    const std::string section = subscribersSection(crowdedStatus(10'000));
    EXPECT_EQ(countOf(section, "<tr"), mostSubscribersShown + 1);
    EXPECT_THAT(section, HasSubstr("<caption>10,000 subscribers, "));
    EXPECT_EQ(countOf(section, ">failing</span>"), 100U) << "all of them";
    EXPECT_LT(section.rfind(">failing</span>"), section.find(">fine</span>")) << "before the others";
    EXPECT_THAT(section, HasSubstr("9,800 more subscribers are left out here, none of them failing."));
    EXPECT_LT(pageOf(crowdedStatus(10'000)).size(), 512U * 1024);
}

TEST(StatusPage, SaysHowManyOfThoseLeftOutFail) {
    EXPECT_THAT(subscribersSection(crowdedStatus(30'000)), HasSubstr("left out here, 100 of them failing."));
}

TEST(StatusPage, TellsHowASubscriberDoes) {
    const std::string section = subscribersSection(livelyStatus());
    const std::string failing = rowOf(section, "monitoring.example.org:5990");
    EXPECT_THAT(failing, HasSubstr(">failing</span>"));
    EXPECT_THAT(failing,
                HasSubstr("listener, session <bdi>1</bdi><br>3 subscriptions since Nov 19, 20:31:07"));
    EXPECT_THAT(failing, HasSubstr("<td data-label=\"Waiting\" class=\"number\">48</td>"));
    EXPECT_THAT(failing, HasSubstr("21 min ago<small> 22:10:07</small>"));
    EXPECT_THAT(failing, HasSubstr("failed to connect: Connection refused"));
    EXPECT_THAT(failing, HasSubstr("for <span class=\"whole\">20 min</span>, since <time "
                                   "datetime=\"2026-11-20T22:11:07Z\">22:11:07</time>, "
                                   "7 in a row"));
    EXPECT_THAT(failing, HasSubstr("12 dropped because an earlier one failed"));
    const std::string recovered = rowOf(section, "127.0.0.1:5991");
    EXPECT_THAT(recovered, HasSubstr(">fine</span>"));
    EXPECT_THAT(recovered, HasSubstr("over; last <time"));
    EXPECT_THAT(rowOf(section, "[::1]:5992"), HasSubstr(">waiting</span>"));
    EXPECT_THAT(
        rowOf(section, "[::1]:5992"),
        HasSubstr("1,004 improper answers; the last: <bdi>improper method response: no return value"));
    EXPECT_THAT(rowOf(section, "10.0.40.7:50000"), HasSubstr(">lost some</span>"));
    EXPECT_THAT(rowOf(section, "10.0.40.7:50000"), HasSubstr("channel, session "));
    EXPECT_THAT(rowOf(section, "10.0.40.7:50000"),
                HasSubstr("heartbeat <span class=\"whole\">12 s ago</span>"));
    EXPECT_THAT(rowOf(section, "listener-2.example.org:5988"), HasSubstr(">nothing yet</span>"));
    EXPECT_THAT(rowOf(section, "listener-2.example.org:5988"), HasSubstr(">never</td>"));
}

TEST(StatusPage, TellsWhoLeft_AndDoesNotCountThem) {
    status::ServerStatus status = quietStatus();
    status.subscribers = crowdedStatus(3).subscribers;
    status.subscribers[0].subscriptions = status.subscribers[1].subscriptions = 0;
    status.subscribers[1].isChannel = true;
    EXPECT_THAT(pageOf(status), HasSubstr("1 subscriber, and it hears everything; nothing waits"));
    const std::string section = subscribersSection(status);
    EXPECT_THAT(section, HasSubstr("<caption>1 subscriber and 2 without a subscription, "));
    EXPECT_THAT(rowOf(section, "127.0.0.1:0"), HasSubstr("<use href=\"#gone\"/></svg>left</span>"));
    EXPECT_THAT(rowOf(section, "127.0.0.1:1"), HasSubstr("<use href=\"#gone\"/></svg>idle</span>"));
    EXPECT_LT(section.find("127.0.0.1:2"), section.find("127.0.0.1:0"));
    EXPECT_THAT(ratesSection(status), HasSubstr("<dt>Subscribers</dt><dd>1<small>0 on a channel"));
    status.subscribers.resize(2);
    EXPECT_THAT(headline(status, judge(status, "")), HasSubstr("<p>Nobody is subscribed; nothing waits"));
}

TEST(StatusPage, TellsWhoWentAndWhy_TheLatestFirst) {
    const std::string section = removedSection(livelyStatus());
    EXPECT_THAT(rowOf(section, "build-agent.example.org:50001"), HasSubstr("delivery failed"));
    EXPECT_THAT(rowOf(section, "build-agent.example.org:50001"), HasSubstr("failed to send: Broken pipe"));
    EXPECT_THAT(rowOf(section, "build-agent.example.org:50001"),
                HasSubstr("5 dropped because the subscriber was removed"));
    EXPECT_THAT(rowOf(section, "192.168.1.20:50001"), HasSubstr("expired"));
    EXPECT_LT(section.find("build-agent"), section.find("192.168.1.20"));
}

TEST(StatusPage, ShowsNoMoreRemovedOnesThanThatManyOfTheLatest) {
    status::ServerStatus status = quietStatus();
    for (int index = 0; index < 80; ++index) {
        status.removed.emplace_back().host = "host" + std::to_string(index);
        status.removed.back().when = status.now - 1min * index;
    }
    const std::string section = removedSection(status);
    EXPECT_EQ(countOf(section, "<tr"), mostRemovedShown + 1);
    EXPECT_THAT(section, HasSubstr("host49:"));
    EXPECT_THAT(section, Not(HasSubstr("host50:")));
}

TEST(StatusPage, TellsWhatProvidersServe) {
    status::ServerStatus status = livelyStatus();
    for (int index = 0; index < 20; ++index) {
        status.providers[1].classes.push_back("EX_Class" + std::to_string(index));
    }
    const std::string section = providersSection(status);
    EXPECT_THAT(section,
                HasSubstr("<bdi>CIM_DataFile</bdi>, <bdi>CIM_Directory</bdi>, <bdi>CIM_LogicalFile</bdi>"));
    EXPECT_THAT(section, HasSubstr("<td data-label=\"Serves\""));
    EXPECT_THAT(section, HasSubstr("<bdi>EX_Class9</bdi> and 10 more"));
    EXPECT_THAT(section, HasSubstr("<bdi>libfile_watch_provider.so</bdi>"));
    EXPECT_THAT(section, HasSubstr("<td data-label=\"Reported\" class=\"number\">40,120</td>"));
    EXPECT_THAT(section, HasSubstr("registerObserver: the kernel refused the request"));
}

TEST(StatusPage, TellsWhatProvidersWatch) {
    const std::string section = providersSection(livelyStatus());
    const std::string files = rowOf(section, "file_watch");
    EXPECT_THAT(section, HasSubstr("<caption>2 providers and what they watch</caption>"));
    EXPECT_THAT(files, HasSubstr("<bdi>/srv/incoming</bdi>"));
    EXPECT_THAT(files, HasSubstr("<bdi>/var/spool/reports (not there)</bdi>"));
    EXPECT_THAT(files, HasSubstr("<bdi>CIM_DataFile</bdi><div class=\"when\">every instance: "
                                 "<bdi>Change</bdi>, since 19:31:07</div>"));
    EXPECT_THAT(files, HasSubstr("orders.csv&quot;</bdi><div class=\"when\"><bdi>Change</bdi> of "
                                 "<bdi>FileSize</bdi>, <bdi>LastModified</bdi>, since 22:19:07</div>"));
    EXPECT_THAT(files, HasSubstr("and 1,204 more"));
    EXPECT_THAT(files, HasSubstr("911<div class=\"when\">95 % within 100 ms</div>"));
    EXPECT_THAT(rowOf(section, "network_links"),
                HasSubstr("<td data-label=\"Watches\" class=\"watches zero\">nothing</td>"));
}

TEST(StatusPage, ShowsTheFirstObservers_AndCountsTheOthers) {
    status::ServerStatus status = livelyStatus();
    status.providers.resize(1);
    status.providers[0].observers.resize(20, status.providers[0].observers[0]);
    const std::string section = providersSection(status);
    EXPECT_THAT(section, HasSubstr("1 provider and what it watches"));
    EXPECT_EQ(countOf(section, "every instance: "), mostObserversShown - 1) << "and one instance";
    EXPECT_THAT(section, HasSubstr("and 1,218 more"));
}

TEST(StatusPage, CountsByReasonAndByRule) {
    const std::string section = countersSection(livelyStatus());
    for (const char* row :
         {"reported</th><td class=\"number\">1,204,331<", "<bdi>connect</bdi></th><td class=\"number\">7<",
          "<bdi>queue full</bdi></th><td class=\"number\">1,204<",
          "<bdi>expired</bdi></th><td class=\"number\">3<",
          "<bdi>CreateInstance</bdi>: status <bdi>11</bdi></th><td class=\"number\">4<",
          "<bdi>CreateInstance</bdi></th><td class=\"number\">1,000<"}) {
        EXPECT_THAT(section, HasSubstr(row));
    }
}

TEST(StatusPage, LeavesOutWhatNeverHappened) {
    status::ServerStatus status = livelyStatus();
    status.counters.failed["never"] = 0;
    status.latency.counts.front() = status.latency.beyond = 0;
    const std::string section = countersSection(status);
    EXPECT_THAT(section, Not(HasSubstr("never")));
    EXPECT_THAT(section, Not(HasSubstr("up to 500 ")));
    EXPECT_THAT(section, HasSubstr(">up to 1 ms<"));
    EXPECT_THAT(section, HasSubstr(">up to 10 s<"));
    EXPECT_THAT(section, Not(HasSubstr(">longer<")));
    EXPECT_EQ(countOf(countersSection(quietStatus()), "class=\"zero\">none</th>"), 5U);
}

TEST(StatusPage, TellsWithinWhichTimeMostIsDelivered) {
    const std::string section = ratesSection(livelyStatus());
    EXPECT_THAT(section, HasSubstr("half within 1 ms<small>95 % within 5 ms</small>"));
    status::ServerStatus slow = livelyStatus();
    slow.latency.beyond = 10'000'000;
    EXPECT_THAT(ratesSection(slow), HasSubstr("half take longer than 10 s"));
    EXPECT_THAT(ratesSection(quietStatus()), HasSubstr("no delivery yet"));
}

TEST(StatusPage, DrawsFourCurves_EachWithASentenceInItsPlace) {
    const std::string section = ratesSection(livelyStatus());
    EXPECT_THAT(section, HasSubstr(">The last 10 min</h2>"));
    for (const char* what : {"Reported", "Delivered", "Failed", "Dropped"}) {
        EXPECT_THAT(section,
                    HasSubstr(std::string("role=\"img\" aria-label=\"") + what + " per second over"));
    }
    EXPECT_THAT(section, HasSubstr("10 in all")) << "failed";
    EXPECT_THAT(section, HasSubstr("1,221 in all")) << "dropped";
}

TEST(StatusPage, NamesTheColumnsOfEveryTable) {
    const std::string page = pageOf(livelyStatus());
    EXPECT_EQ(countOf(page, "<table"), countOf(page, "<caption>"));
    EXPECT_EQ(countOf(page, "<td data-label"), countOf(page, "<td data-label=\""));
    EXPECT_EQ(countOf(page, "<th "), countOf(page, "scope=\"col\"") + countOf(page, "scope=\"row\""));
    EXPECT_THAT(page, Not(HasSubstr("<th>")));
}

}  // namespace velm::faces
