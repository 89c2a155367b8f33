// The bound on subscribers, and the order in which one hears of what several writers do.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;

namespace {

constexpr int tooMany = 27;

WBEMClient::Parameters creations(std::uint32_t session) {
    return WBEMClient::subscriber("1", session) +
           WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                  {"ClassName", className("CIM_DataFile")}};
}

class VelmdSubscribers : public testing::Test {
protected:
    TemporaryDirectory directory;
};

}  // namespace

TEST_F(VelmdSubscribers, AreRefused_WhenThereAreAsManyAsMayBe) {
    VelmdProcess velmd(directory.path(), {"--set", "VELM.MaxSubscribers=2"});
    WBEMClient client(velmd.port());
    auto channel = std::make_unique<ResponseSocket>(velmd.port());
    channel->send(client.request("RegisterNotificationChannel", WBEMClient::subscriber("1", 1)));
    EXPECT_EQ(channel->next().status(), 0);
    EXPECT_EQ(client.call("Subscribe", creations(2)).status(), 0);
    const WBEMAnswer refused = client.call("Subscribe", creations(3));
    EXPECT_EQ(refused.status(), tooMany);
    EXPECT_THAT(refused.description(),
                testing::HasSubstr("there are 2 subscribers, as many as VELM.MaxSubscribers allows"));
    EXPECT_EQ(client.call("RegisterNotificationChannel", WBEMClient::subscriber("1", 3)).status(), tooMany);
    EXPECT_EQ(client.call("Subscribe", creations(2)).status(), 0) << "of one that is there";
    channel.reset();
    EXPECT_TRUE(holdsInTime([&] { return client.call("Subscribe", creations(3)).status() == 0; }));
}

TEST_F(VelmdSubscribers, HearOfConcurrentWritesOnceAndInTheOrderOfTheirCommits) {
    constexpr int writers = 4;
    constexpr unsigned int writes = 40;
    VelmdProcess velmd(directory.path());
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    const ScriptedListener listener(goodAnswer());
    for (const char* type : {"Creation", "Change", "Destruction"}) {
        ASSERT_TRUE(client
                        .call("Subscribe", WBEMClient::subscriber(listener.port()) +
                                               WBEMClient::Parameters{{"IndicationType", value(type)},
                                                                      {"ClassName", className("EX_Item")}})
                        .has("TRUE"));
    }
    // All write the same instance: who creates, changes or deletes it is decided by the commits alone, and
    // only an order that they allow reads as one life after the other.
    std::vector<std::thread> threads;
    std::map<std::string, std::size_t> done;
    std::mutex lock;
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back([&, writer] {
            WBEMClient own(velmd.port());
            for (unsigned int number = 0; number < writes; ++number) {
                const std::string caption = std::to_string(writer) + "-" + std::to_string(number);
                const bool created =
                    own.call("CreateInstance", {{"NewInstance", itemInstance("EX_Item", "1", caption)}})
                        .status() == 0;
                const bool changed =
                    own.call("ModifyInstance",
                             {{"ModifiedInstance",
                               namedItem("EX_Item", "1", itemInstance("EX_Item", "1", caption + "!"))}})
                        .status() == 0;
                const bool deleted =
                    own.call("DeleteInstance", {{"InstanceName", itemName("EX_Item", "1")}}).status() == 0;
                const std::lock_guard guard(lock);
                done["Creation"] += created ? 1U : 0U;
                done["Change"] += changed ? 1U : 0U;
                done["Destruction"] += deleted ? 1U : 0U;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::size_t all = done["Creation"] + done["Change"] + done["Destruction"];
    ASSERT_TRUE(listener.waitForRequests(all));
    EXPECT_EQ(velmd.terminate(), 0);
    std::map<std::string, std::size_t> heard;
    bool isThere = false;
    for (const ExportedIndication& each : receivedBy(listener)) {
        ++heard[each.kind];
        EXPECT_EQ(isThere, each.kind != "Creation");
        isThere = each.kind != "Destruction";
    }
    EXPECT_EQ(heard, done);
}
