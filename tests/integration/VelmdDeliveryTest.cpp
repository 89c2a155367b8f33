// Subscribers that vanish, stop reading or hang, beside others that do not.
//
// One thread delivers to all subscribers, in passes that begin a second after the last one ended; in a pass,
// each subscriber in the order of its first subscription gets all that waits for it. So whoever comes before
// a subscriber that hangs is served within the second, and whoever comes behind it once that one is through:
// a listener has 30 seconds for its answer, a channel whose client reads nothing has two minutes.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace {

constexpr const char* channelPort = "1";
constexpr std::uint32_t channelSession = 9;

/// Opens a channel; little is taken by the system that the client does not read.
std::unique_ptr<ResponseSocket> registerChannel(std::uint16_t port, const WBEMClient::Parameters& identity) {
    constexpr int smallBuffer = 4096;
    auto channel = std::make_unique<ResponseSocket>(port, smallBuffer);
    channel->send(WBEMClient(port).request("RegisterNotificationChannel", identity));
    EXPECT_EQ(channel->next().httpStatus, 200U);
    return channel;
}

class VelmdDelivery : public testing::Test {
protected:
    VelmdDelivery() {
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    }

    static WBEMClient::Parameters creations(WBEMClient::Parameters subscriber) {
        return std::move(subscriber) + WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                              {"ClassName", className("EX_Item")}};
    }

    void subscribe(const ScriptedListener& listener) {
        ASSERT_TRUE(client.call("Subscribe", creations(WBEMClient::subscriber(listener.port()))).has("TRUE"));
    }

    std::unique_ptr<ResponseSocket> openChannel(int subscriptions = 1) {
        const auto identity = WBEMClient::subscriber(channelPort, channelSession);
        auto channel = registerChannel(velmd.port(), identity);
        for (int count = 0; count < subscriptions; ++count) {
            EXPECT_TRUE(client.call("Subscribe", creations(identity)).has("TRUE"));
        }
        return channel;
    }

    /// Takes one of its subscriptions back; false when the daemon has forgotten it, or there are none left.
    bool unsubscribeChannel() {
        const auto identity = WBEMClient::subscriber(channelPort, channelSession);
        return client.call("Unsubscribe", creations(identity)).has("<VALUE>TRUE</VALUE>");
    }

    void create(const std::string& id, std::size_t captionSize = 1) {
        const WBEMAnswer answer = client.call(
            "CreateInstance", {{"NewInstance", itemInstance("EX_Item", id, std::string(captionSize, 'c'))}});
        ASSERT_EQ(answer.status(), 0) << answer.body;
    }

    /// More than the buffers on the way to a channel take.
    void flood() {
        for (int number = 0; number < floodSize; ++number) {
            create("flood" + std::to_string(number), 500'000);
        }
    }

    static constexpr int floodSize = 30;

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
    WBEMClient client{velmd.port()};
};

enum class Vanishing { close, reset };

class VelmdDeliveryVanishing : public VelmdDelivery, public testing::WithParamInterface<Vanishing> {};

}  // namespace

TEST_P(VelmdDeliveryVanishing, RemovesTheSubscriberOfAChannelAtOnceAndServesOthers) {
    constexpr int subscriptions = 300;
    ScriptedListener before(goodAnswer());
    subscribe(before);
    const auto channel = openChannel(subscriptions);
    ScriptedListener behind(goodAnswer());
    subscribe(behind);
    if (GetParam() == Vanishing::close) {
        channel->close();
    } else {
        channel->reset();
    }
    int left = subscriptions;
    EXPECT_TRUE(holdsInTime([&] { return !unsubscribeChannel() || --left == 0; }));
    EXPECT_GT(left, 0) << "it was still there when its last subscription was taken back";
    create("1");
    EXPECT_TRUE(before.waitForRequests(1));
    EXPECT_TRUE(behind.waitForRequests(1));
}

INSTANTIATE_TEST_SUITE_P(Clients, VelmdDeliveryVanishing, testing::Values(Vanishing::close, Vanishing::reset),
                         [](const auto& tested) {
                             return std::string(tested.param == Vanishing::close ? "Closes" : "Resets");
                         });

TEST_F(VelmdDelivery, GoesOnToOthers_WhenAChannelThatIsNotReadIsReset) {
    const auto channel = openChannel();
    ScriptedListener other(goodAnswer());
    subscribe(other);
    create("first");
    ASSERT_TRUE(other.waitForRequests(1)) << "little is taken by the buffers";
    flood();
    EXPECT_LT(other.requestCount(), 1U + floodSize) << "the channel took everything";
    channel->reset();
    ASSERT_TRUE(other.waitForRequests(1 + floodSize));
    EXPECT_FALSE(unsubscribeChannel());
    create("last");
    EXPECT_TRUE(other.waitForRequests(2 + floodSize));
}

TEST_F(VelmdDelivery, GoesOnToOthersAfterTwoMinutes_WhenAChannelIsNotRead) {
    if (!std::getenv("VELM_SLOW_TESTS")) {
        GTEST_SKIP() << "takes more than two minutes; set VELM_SLOW_TESTS to run it";
    }
    const auto channel = openChannel();
    ScriptedListener other(goodAnswer());
    subscribe(other);
    flood();
    ASSERT_TRUE(other.waitForRequests(floodSize, std::chrono::minutes(3)));
    EXPECT_FALSE(unsubscribeChannel());
}

TEST_F(VelmdDelivery, IsNoReasonToStayAlive_WhenAChannelIsNotRead) {
    VelmdProcess other(directory.path() / "other", {"--set", "Server.DrainSeconds=1"});
    WBEMClient writer(other.port());
    ASSERT_EQ(writer.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    const auto identity = WBEMClient::subscriber(channelPort, channelSession);
    const auto channel = registerChannel(other.port(), identity);
    ASSERT_TRUE(writer.call("Subscribe", creations(identity)).has("TRUE"));
    for (int number = 0; number < floodSize; ++number) {
        const std::string item = itemInstance("EX_Item", std::to_string(number), std::string(500'000, 'c'));
        ASSERT_EQ(writer.call("CreateInstance", {{"NewInstance", item}}).status(), 0);
    }
    other.signal(SIGTERM);
    EXPECT_EQ(other.wait(seconds(10)), 0);
    EXPECT_THAT(other.log(), testing::ContainsRegex("and [1-9][0-9]* indication\\(s\\) were not delivered"));
}

TEST_F(VelmdDelivery, ServesWhoComesBeforeAListenerThatHangs_AndWhoComesBehindOnceItIsThrough) {
    ScriptedListener before(goodAnswer());
    ScriptedListener hanging(hangingAnswer());
    ScriptedListener behind(goodAnswer());
    subscribe(before);
    subscribe(hanging);
    subscribe(behind);
    const auto start = steady_clock::now();
    create("1");
    ASSERT_TRUE(before.waitForRequests(1));
    // The second until the next pass, and one more for a busy machine.
    EXPECT_LT(steady_clock::now() - start, seconds(2));
    ASSERT_TRUE(hanging.waitForRequests(1));
    EXPECT_EQ(behind.requestCount(), 0U);
    create("2");
    EXPECT_EQ(before.requestCount(), 1U) << "the next pass has not begun";
    hanging.release();
    EXPECT_TRUE(behind.waitForRequests(2));
    EXPECT_TRUE(before.waitForRequests(2));
    EXPECT_THAT(receivedBy(behind),
                testing::ElementsAre(ExportedIndication{"Creation", itemPath("EX_Item", "1"), ""},
                                     ExportedIndication{"Creation", itemPath("EX_Item", "2"), ""}));
}

TEST_F(VelmdDelivery, AnswersRequests_WhileAListenerHangs) {
    ScriptedListener hanging(hangingAnswer());
    subscribe(hanging);
    create("1");
    ASSERT_TRUE(hanging.waitForRequests(1));
    ScriptedListener other(goodAnswer());
    subscribe(other);
    create("2");
    EXPECT_EQ(client.call("DeleteInstance", {{"InstanceName", itemName("EX_Item", "1")}}).status(), 0);
    EXPECT_EQ(client.call("HeartBeat", WBEMClient::subscriber(hanging.port())).status(), 0);
    hanging.release();
    EXPECT_TRUE(other.waitForRequests(1));
}
