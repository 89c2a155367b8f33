// What the delivery thread hits for a subscriber, and what is dropped with it: each kind in a real run, and
// all three faces show it: the page, /status.json and /metrics, and velmctl status SUBSCRIBER.

#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/WBEMClient.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <gmock/gmock.h>

using namespace velm::test;
using testing::HasSubstr;

namespace {

namespace json = boost::json;

constexpr const char* channelPort = "1";
constexpr std::uint32_t channelSession = 9;

class Failures : public testing::Test {
protected:
    Failures() { EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0); }

    void subscribe(const WBEMClient::Parameters& subscriber) {
        const WBEMAnswer answer = client.call(
            "Subscribe", subscriber + WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                             {"ClassName", className("EX_Item")}});
        ASSERT_TRUE(answer.has("<VALUE>TRUE</VALUE>")) << answer.body;
    }
    void subscribe(const std::string& port) { subscribe(WBEMClient::subscriber(port)); }

    std::unique_ptr<ResponseSocket> openChannel() {
        const auto identity = WBEMClient::subscriber(channelPort, channelSession);
        auto channel = std::make_unique<ResponseSocket>(velmd.port(), 4096);
        channel->send(client.request("RegisterNotificationChannel", identity));
        EXPECT_EQ(channel->next().httpStatus, 200U);
        subscribe(identity);
        return channel;
    }

    void create(std::size_t captionSize = 1) {
        const std::string item =
            itemInstance("EX_Item", std::to_string(++_items), std::string(captionSize, 'c'));
        ASSERT_EQ(client.call("CreateInstance", {{"NewInstance", item}}).status(), 0);
    }

    std::string get(const std::string& path) const {
        return runProgram({"/usr/bin/curl", "--silent", "--show-error", "--fail",
                           "http://127.0.0.1:" + std::to_string(velmd.port()) + path})
            .output;
    }

    /// Of "failed" or "dropped".
    int counted(const char* what, const std::string& why) const {
        return json::parse(get("/status.json")).at("counters").at(what).at(why).to_number<int>();
    }

    /// The subscriber with this port, in the list of this name.
    std::optional<json::object> told(const char* list, const std::string& port) const {
        const json::value status = json::parse(get("/status.json"));
        for (const json::value& each : status.at(list).as_array()) {
            if (each.at("port").as_string() == port) {
                return each.as_object();
            }
        }
        return std::nullopt;
    }

    /// `note` is the member that must hold `text`, and so must all faces.
    void expectShown(const char* list, const std::string& subscriber, const char* note,
                     const std::string& text) const {
        const std::string port = subscriber.substr(subscriber.rfind(':') + 1);
        const auto status = told(list, port);
        ASSERT_TRUE(status) << get("/status.json");
        ASSERT_FALSE(status->at(note).is_null()) << get("/status.json");
        EXPECT_THAT(std::string(status->at(note).at("text").as_string()), HasSubstr(text));
        const std::string page = get("/");
        const auto row = page.find("<bdi>" + subscriber + "</bdi>");
        ASSERT_NE(row, page.npos);
        EXPECT_THAT(page.substr(row, page.find("</tr>", row) - row), HasSubstr(text));
        EXPECT_THAT(runVelmctl({"status", subscriber, "--json", "--server",
                                "127.0.0.1:" + std::to_string(velmd.port())})
                        .output,
                    HasSubstr(text));
    }

    void expectMetric(const std::string& series) const {
        EXPECT_THAT(get("/metrics"), testing::ContainsRegex(series + " [1-9]"));
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path(), {"--set", "VELM.MaxQueuedIndications=3"}};
    WBEMClient client{velmd.port()};

private:
    int _items = 0;
};

/// Takes the connection, reads nothing and resets it.
Answer brokenOff() {
    Answer answer = resettingAnswer();
    answer.reading = Answer::Reading::nothing;
    return answer;
}

}  // namespace

TEST_F(Failures, AreShown_WhenTheConnectionIsRefused_WithWhatIsDroppedBehindIt) {
    const RefusingPort nobody;
    subscribe(nobody.port());
    ASSERT_TRUE(holdsInTime([&] {
        create();
        create();
        return counted("dropped", "earlier one failed") > 0;
    }));
    const std::string address = "127.0.0.1:" + nobody.port();
    expectShown("subscribers", address, "lastFailure", "Connection refused");
    expectShown("subscribers", address, "lastDrop", "dropped because an earlier one failed");
    expectMetric("velm_indications_failed_total\\{reason=\"connection_refused\"\\}");
    expectMetric("velm_indications_dropped_total\\{rule=\"earlier_one_failed\"\\}");
    expectMetric("velm_destination_failed_total\\{[^}]*port=\"" + nobody.port() + "\"[^}]*\\}");
    expectMetric("velm_destination_dropped_total\\{[^}]*port=\"" + nobody.port() + "\"[^}]*\\}");
}

TEST_F(Failures, AreShown_WhenTheNameIsNotFound) {
    subscribe({{"SubscriberHost", value("listener.invalid")},
               {"SubscriberPort", value("5990")},
               {"SessionID", value("1")}});
    create();
    ASSERT_TRUE(holdsInTime([&] { return counted("failed", "name not found") > 0; })) << get("/status.json");
    expectShown("removed", "listener.invalid:5990", "lastFailure", "listener.invalid");
    expectMetric("velm_indications_failed_total\\{reason=\"name_not_found\"\\}");
}

TEST_F(Failures, AreShown_WhenThereIsNoWayToTheAddress) {
    subscribe({{"SubscriberHost", value("255.255.255.255")},
               {"SubscriberPort", value("5990")},
               {"SessionID", value("1")}});
    create();
    ASSERT_TRUE(holdsInTime([&] { return counted("failed", "not connected") > 0; })) << get("/status.json");
    expectShown("removed", "255.255.255.255:5990", "lastFailure", "Connecting to 255.255.255.255:5990");
    expectMetric("velm_indications_failed_total\\{reason=\"not_connected\"\\}");
}

TEST_F(Failures, AreShown_WhenTheListenerBreaksOff) {
    const ScriptedListener listener(brokenOff());
    subscribe(listener.port());
    create(12'000'000);
    ASSERT_TRUE(holdsInTime([&] { return counted("failed", "send failed") > 0; })) << get("/status.json");
    expectShown("subscribers", "127.0.0.1:" + listener.port(), "lastFailure", "Sending to");
    expectMetric("velm_indications_failed_total\\{reason=\"send_failed\"\\}");
}

TEST_F(Failures, AreShown_WhenAChannelBreaks_WithWhatIsDroppedWithIt) {
    const auto channel = openChannel();
    // More than the buffers on the way take: the delivery thread stands in the middle of it.
    create(12'000'000);
    ASSERT_TRUE(holdsInTime([&] { return told("subscribers", channelPort)->at("waiting").as_int64() == 0; }));
    create();
    channel->reset();
    ASSERT_TRUE(holdsInTime([&] { return counted("failed", "channel closed") > 0; })) << get("/status.json");
    ASSERT_TRUE(holdsInTime([&] { return told("removed", channelPort).has_value(); })) << get("/status.json");
    ASSERT_TRUE(holdsInTime([&] { return counted("dropped", "subscriber removed") > 0; }))
        << get("/status.json");
    const std::string address = std::string("127.0.0.1:") + channelPort;
    expectShown("removed", address, "lastFailure", "Sending to");
    expectShown("removed", address, "lastDrop", "1 dropped because the subscriber was removed");
    expectMetric("velm_indications_failed_total\\{reason=\"channel_closed\"\\}");
    expectMetric("velm_indications_dropped_total\\{rule=\"subscriber_removed\"\\}");
    expectMetric("velm_subscribers_removed_total\\{reason=\"[a-z_]+\"\\}");
}

TEST_F(Failures, AreShown_WhenAQueueIsFull) {
    ScriptedListener slow(hangingAnswer());
    subscribe(slow.port());
    create();
    ASSERT_TRUE(slow.waitForRequests(1));
    for (int count = 0; count < 6; ++count) {
        create();
    }
    EXPECT_EQ(counted("dropped", "queue full"), 3);
    expectShown("subscribers", "127.0.0.1:" + slow.port(), "lastDrop", "the queue is full");
    expectMetric("velm_indications_dropped_total\\{rule=\"queue_full\"\\}");
    expectMetric("velm_destination_dropped_total\\{[^}]*port=\"" + slow.port() + "\"[^}]*\\}");
    slow.setDefaultAnswer(goodAnswer());
    slow.release();
    ASSERT_TRUE(slow.waitForRequests(4));
    ASSERT_TRUE(holdsInTime([&] {
        const auto subscriber = told("subscribers", slow.port());
        return subscriber->at("lastDrop").at("text").as_string() == "3 dropped because the queue was full";
    })) << get("/status.json");
    expectShown("subscribers", "127.0.0.1:" + slow.port(), "lastDrop",
                "3 dropped because the queue was full");
}

TEST_F(Failures, AreToldFromImproperAnswers) {
    const ScriptedListener listener(errorAnswer("the disk is full"));
    subscribe(listener.port());
    create();
    ASSERT_TRUE(
        holdsInTime([&] { return told("subscribers", listener.port())->at("delivered").as_int64() > 0; }));
    expectShown("subscribers", "127.0.0.1:" + listener.port(), "lastImproperAnswer", "the disk is full");
    expectMetric("velm_indications_improper_answers_total");
    EXPECT_FALSE(told("subscribers", listener.port())->at("isFailing").as_bool());
}
