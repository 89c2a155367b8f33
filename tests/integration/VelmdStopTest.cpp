// How the daemon ends and starts again: what was written is there, what was queued is delivered or counted,
// and clients are answered or see a clean end.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using std::chrono::seconds;
using testing::AllOf;
using testing::HasSubstr;

namespace {

WBEMClient::Parameters subscription(const ScriptedListener& listener) {
    return WBEMClient::subscriber(listener.port()) +
           WBEMClient::Parameters{{"IndicationType", value("Creation")}, {"ClassName", className("EX_Item")}};
}

WBEMClient::Parameters newItem(const std::string& id) {
    return {{"NewInstance", itemInstance("EX_Item", id)}};
}

/// A client that creates items until the server ends.
class Creator {
public:
    Creator(std::uint16_t port, std::string prefix)
        : _prefix(std::move(prefix)), _thread([this, port] { _create(port); }) {}

    std::set<std::string> acknowledged;
    std::size_t refusedCount = 0;
    /// How the connection came to its end.
    std::string end;

    void join() { _thread.join(); }
    std::size_t count() const { return _count; }

private:
    void _create(std::uint16_t port) {
        const WBEMClient client(port);
        try {
            ResponseSocket connection(port);
            for (int number = 0;; ++number) {
                const std::string id = _prefix + std::to_string(number);
                connection.send(client.request("CreateInstance", newItem(id)));
                const WBEMAnswer answer = connection.next();
                if (answer.httpStatus == 200 && answer.status() == 0) {
                    acknowledged.insert(id);
                    ++_count;
                } else {
                    ++refusedCount;
                }
            }
        } catch (const std::runtime_error& reason) {
            end = reason.what();
        }
    }

    const std::string _prefix;
    std::atomic<std::size_t> _count{0};
    std::thread _thread;
};

std::set<std::string> itemIds(WBEMClient& client) {
    const WBEMAnswer answer = client.call("EnumerateInstanceNames", {{"ClassName", className("EX_Item")}});
    EXPECT_EQ(answer.status(), 0) << answer.body;
    std::set<std::string> ids;
    for (std::size_t at = answer.body.find("<KEYVALUE"); at != std::string::npos;
         at = answer.body.find("<KEYVALUE", at + 1)) {
        const std::size_t first = answer.body.find('>', at) + 1;
        ids.insert(answer.body.substr(first, answer.body.find('<', first) - first));
    }
    return ids;
}

class VelmdStop : public testing::Test {
protected:
    void createClass(WBEMClient& client) {
        ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    }

    TemporaryDirectory directory;
};

/// With a provider that waits in its operations as long as hold() says.
class VelmdStopAtAGate : public VelmdStop {
protected:
    std::vector<std::string> withGate(int drainSeconds) const {
        const auto folder = providerFolder(directory, "gate", VELM_TEST_GATE_PROVIDER);
        return {"--set", "Server.DrainSeconds=" + std::to_string(drainSeconds),
                "--set", "Providers.Directory=" + folder,
                "--set", "Providers.gate=" + directory.path().string()};
    }

    bool isWaiting() const { return std::filesystem::exists(directory.path() / "waiting"); }
    void letGo() const { std::filesystem::remove(directory.path() / "hold"); }

    /// Has a request carried out that does not come to its end.
    void hold(const VelmdProcess& velmd, ResponseSocket& connection) const {
        directory.write("hold", "");
        connection.send(WBEMClient(velmd.port())
                            .request("EnumerateInstanceNames", {{"ClassName", className("CIM_DataFile")}}));
        ASSERT_TRUE(holdsInTime([this] { return isWaiting(); }));
    }

    const std::filesystem::path state = directory.path() / "state";
};

enum class Ending { terminated, killed };

class VelmdRestart : public VelmdStop, public testing::WithParamInterface<Ending> {};

}  // namespace

TEST_P(VelmdRestart, KeepsEverythingForTheNextStart) {
    const std::string qualifier =
        "<QUALIFIER.DECLARATION NAME=\"EX_Mark\" TYPE=\"string\"><SCOPE CLASS=\"true\"/>"
        "</QUALIFIER.DECLARATION>";
    {
        VelmdProcess velmd(directory.path());
        WBEMClient client(velmd.port());
        createClass(client);
        EXPECT_EQ(client.call("CreateInstance", newItem("1")).status(), 0);
        EXPECT_EQ(client.call("CreateInstance", newItem("2")).status(), 0);
        EXPECT_EQ(client.call("DeleteInstance", {{"InstanceName", itemName("EX_Item", "2")}}).status(), 0);
        EXPECT_EQ(client
                      .call("ModifyInstance",
                            {{"ModifiedInstance",
                              namedItem("EX_Item", "1", itemInstance("EX_Item", "1", "changed", 7))}})
                      .status(),
                  0);
        EXPECT_EQ(client.call("SetQualifier", {{"QualifierDeclaration", qualifier}}).status(), 0);
        if (GetParam() == Ending::terminated) {
            EXPECT_EQ(velmd.terminate(), 0);
            EXPECT_THAT(velmd.log(), HasSubstr("Stopped; nothing was left undone."));
        }
    }
    EXPECT_EQ(runProgram({velmdProgram(), "--state-dir", directory.path().string(), "--import",
                          directory
                              .write("more.xml",
                                     "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>"
                                     "<VALUE.OBJECT><CLASS NAME=\"EX_Other\"></CLASS></VALUE.OBJECT>"
                                     "</DECLGROUP></DECLARATION></CIM>")
                              .string(),
                          "--namespace", "root/other"})
                  .exitCode,
              0);
    VelmdProcess velmd(directory.path());
    WBEMClient client(velmd.port());
    const WBEMAnswer instance = client.call(
        "GetInstance", {{"InstanceName", itemName("EX_Item", "1")}, {"LocalOnly", value("FALSE")}});
    EXPECT_TRUE(instance.has("<VALUE>changed</VALUE>") && instance.has("<VALUE>7</VALUE>")) << instance.body;
    EXPECT_EQ(client.call("GetInstance", {{"InstanceName", itemName("EX_Item", "2")}}).status(), 6);
    EXPECT_TRUE(client.call("GetQualifier", {{"QualifierName", value("EX_Mark")}}).has("EX_Mark"));
    EXPECT_TRUE(client.call("GetClass", {{"ClassName", className("CIM_DataFile")}}).has("CIM_DataFile"));
    WBEMClient other(velmd.port(), "root/other");
    EXPECT_TRUE(other.call("EnumerateClassNames").has("<CLASSNAME NAME=\"EX_Other\">"));
    EXPECT_THAT(velmd.log(), testing::Not(HasSubstr("Created the repository")));
}

INSTANTIATE_TEST_SUITE_P(Of, VelmdRestart, testing::Values(Ending::terminated, Ending::killed),
                         [](const auto& tested) {
                             return std::string(tested.param == Ending::killed ? "AKilledOne"
                                                                               : "ATerminatedOne");
                         });

TEST_F(VelmdStop, AnswersOrClosesAndLosesNothing_WhenClientsAreWriting) {
    VelmdProcess velmd(directory.path());
    ScriptedListener listener(goodAnswer());
    {
        WBEMClient client(velmd.port());
        createClass(client);
        ASSERT_TRUE(client.call("Subscribe", subscription(listener)).has("TRUE"));
    }
    std::vector<std::unique_ptr<Creator>> creators;
    for (const char* prefix : {"a", "b", "c", "d"}) {
        creators.push_back(std::make_unique<Creator>(velmd.port(), prefix));
    }
    ASSERT_TRUE(holdsInTime([&] { return creators.front()->count() >= 20; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(velmd.terminate(), 0) << velmd.log();
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(10));
    EXPECT_THAT(velmd.log(), HasSubstr("Received SIGTERM, stopping."));
    EXPECT_THAT(velmd.log(), HasSubstr("Stopped; nothing was left undone."));
    std::set<std::string> acknowledged;
    for (const auto& creator : creators) {
        creator->join();
        EXPECT_EQ(creator->refusedCount, 0U);
        // Nothing of a response came that was not whole.
        EXPECT_THAT(creator->end, testing::AnyOf("the server closed the connection or is silent: ",
                                                 testing::StartsWith("send: ")));
        acknowledged.insert(creator->acknowledged.begin(), creator->acknowledged.end());
    }
    VelmdProcess again(directory.path());
    WBEMClient client(again.port());
    const std::set<std::string> found = itemIds(client);
    EXPECT_TRUE(std::includes(found.begin(), found.end(), acknowledged.begin(), acknowledged.end()));
    // A request that was carried out and whose client was gone: one for each at the most.
    EXPECT_LE(found.size(), acknowledged.size() + creators.size());
    EXPECT_EQ(listener.requestCount(), found.size());
}

TEST_F(VelmdStop, DeliversWhatIsQueuedAndClosesIdleConnections) {
    VelmdProcess velmd(directory.path());
    WBEMClient client(velmd.port());
    createClass(client);
    ScriptedListener listener(goodAnswer());
    ASSERT_TRUE(client.call("Subscribe", subscription(listener)).has("TRUE"));
    for (int number = 0; number < 50; ++number) {
        ASSERT_EQ(client.call("CreateInstance", newItem(std::to_string(number))).status(), 0);
    }
    ResponseSocket idle(velmd.port());
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_EQ(receivedBy(listener).size(), 50U);
    EXPECT_THROW(idle.next(), std::runtime_error);
    EXPECT_THAT(velmd.log(), HasSubstr("Stopped; nothing was left undone."));
}

TEST_F(VelmdStop, SaysWhatIsLeft_WhenAListenerHangs) {
    VelmdProcess velmd(directory.path(), {"--set", "Server.DrainSeconds=1"});
    WBEMClient client(velmd.port());
    createClass(client);
    ScriptedListener hanging(hangingAnswer());
    ASSERT_TRUE(client.call("Subscribe", subscription(hanging)).has("TRUE"));
    ASSERT_EQ(client.call("CreateInstance", newItem("1")).status(), 0);
    ASSERT_TRUE(hanging.waitForRequests(1));
    ASSERT_EQ(client.call("CreateInstance", newItem("2")).status(), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(5));
    EXPECT_THAT(velmd.log(),
                HasSubstr("Stopped; 0 request(s) were cut off and 2 indication(s) were not delivered."));
}

TEST_F(VelmdStop, GoesOnAtOnce_WhenThereIsNoTimeToDrain) {
    VelmdProcess velmd(directory.path(), {"--set", "Server.DrainSeconds=0"});
    WBEMClient client(velmd.port());
    createClass(client);
    ScriptedListener hanging(hangingAnswer());
    ASSERT_TRUE(client.call("Subscribe", subscription(hanging)).has("TRUE"));
    ASSERT_EQ(client.call("CreateInstance", newItem("1")).status(), 0);
    ASSERT_TRUE(hanging.waitForRequests(1));
    velmd.signal(SIGINT);
    EXPECT_EQ(velmd.wait(seconds(5)), 0);
    EXPECT_THAT(velmd.log(), AllOf(HasSubstr("Received SIGINT, stopping."),
                                   HasSubstr("1 indication(s) were not delivered")));
}

TEST_F(VelmdStopAtAGate, EndsAllTheSame_WhenAProviderDoesNotComeBack) {
    VelmdProcess velmd(state, withGate(0));
    ResponseSocket stuck(velmd.port());
    hold(velmd, stuck);
    velmd.signal(SIGTERM);
    EXPECT_EQ(velmd.wait(seconds(10)), 1);
    EXPECT_THAT(velmd.log(),
                HasSubstr("a request or a provider did not come to its end within 3 seconds; left behind: 1 "
                          "request(s) being carried out, 0 indication(s) not delivered."));
}

TEST_F(VelmdStopAtAGate, LeavesHalfOfItsTimeToWhatIsQueued_WhenARequestTakesItsOwn) {
    VelmdProcess velmd(state, withGate(6));
    WBEMClient client(velmd.port());
    createClass(client);
    ScriptedListener hanging(hangingAnswer());
    ScriptedListener behind(goodAnswer());
    ASSERT_TRUE(client.call("Subscribe", subscription(hanging)).has("TRUE"));
    ASSERT_TRUE(client.call("Subscribe", subscription(behind)).has("TRUE"));
    ASSERT_EQ(client.call("CreateInstance", newItem("1")).status(), 0);
    ASSERT_TRUE(hanging.waitForRequests(1));
    ResponseSocket stuck(velmd.port());
    hold(velmd, stuck);
    velmd.signal(SIGTERM);
    EXPECT_THROW(stuck.next(), std::runtime_error) << "it is cut off";
    letGo();
    hanging.release();
    EXPECT_EQ(velmd.wait(), 0);
    EXPECT_EQ(behind.requestCount(), 1U);
    EXPECT_THAT(velmd.log(),
                HasSubstr("Stopped; 1 request(s) were cut off and 0 indication(s) were not delivered."));
}

TEST_F(VelmdStopAtAGate, EndsAtOnce_WhenItIsToldTwiceWhileARequestIsCarriedOut) {
    VelmdProcess velmd(state, withGate(600));
    ResponseSocket stuck(velmd.port());
    hold(velmd, stuck);
    velmd.signal(SIGINT);
    ASSERT_TRUE(velmd.waitForLog("Received SIGINT, stopping."));
    velmd.signal(SIGINT);
    EXPECT_EQ(velmd.wait(seconds(5)), 1);
    EXPECT_THAT(velmd.log(), HasSubstr("Ended at once by SIGINT while stopping; left behind: 1 request(s) "
                                       "being carried out, 0 indication(s) not delivered."));
}

TEST_F(VelmdStopAtAGate, EndsAtOnce_WhenItIsToldBeforeItServes) {
    directory.write("hold", "");
    ProgramProcess velmd(velmdCommand(state, withGate(600)));
    ASSERT_TRUE(holdsInTime([this] { return isWaiting(); }));
    velmd.signal(SIGTERM);
    EXPECT_EQ(velmd.wait(seconds(5)), 1);
    EXPECT_THAT(velmd.log(), HasSubstr("Ended at once by SIGTERM, before the start was complete."));
    letGo();
    VelmdProcess again(state);
    EXPECT_EQ(WBEMClient(again.port()).call("EnumerateClassNames").status(), 0);
}

TEST_F(VelmdStop, EndsAtOnceAndSaysWhatIsLeft_WhenItIsToldTwice) {
    VelmdProcess velmd(directory.path(), {"--set", "Server.DrainSeconds=600"});
    WBEMClient client(velmd.port());
    createClass(client);
    ScriptedListener hanging(hangingAnswer());
    ASSERT_TRUE(client.call("Subscribe", subscription(hanging)).has("TRUE"));
    ASSERT_EQ(client.call("CreateInstance", newItem("1")).status(), 0);
    ASSERT_TRUE(hanging.waitForRequests(1));
    ASSERT_EQ(client.call("CreateInstance", newItem("2")).status(), 0);
    velmd.signal(SIGTERM);
    ASSERT_TRUE(velmd.waitForLog("Received SIGTERM, stopping."));
    velmd.signal(SIGINT);
    EXPECT_EQ(velmd.wait(seconds(5)), 1);
    EXPECT_THAT(velmd.log(), HasSubstr("Ended at once by SIGINT while stopping; left behind: 0 request(s) "
                                       "being carried out, 2 indication(s) not delivered."));
}

TEST_F(VelmdStop, GivesASlowClientNoTime) {
    VelmdProcess velmd(directory.path(), {"--set", "Server.DrainSeconds=600"});
    const WBEMClient client(velmd.port());
    const std::string request = client.request("CreateClass", {{"NewClass", itemClass("EX_Item")}});
    ResponseSocket trickling(velmd.port());
    trickling.send(request.substr(0, request.size() - 200));
    std::atomic<bool> isClosed{false};
    std::thread trickle([&] {
        try {
            for (std::size_t at = request.size() - 200; at < request.size() - 1; ++at) {
                trickling.send(request.substr(at, 1));
                ::usleep(20'000);
            }
        } catch (const std::runtime_error&) {
            isClosed = true;
        }
    });
    ResponseSocket silent(velmd.port());
    silent.send("POST /cimom HT");
    EXPECT_EQ(WBEMClient(velmd.port()).call("EnumerateClassNames").status(), 0);
    velmd.signal(SIGTERM);
    EXPECT_EQ(velmd.wait(seconds(5)), 0);
    EXPECT_THAT(velmd.log(), HasSubstr("Stopped; nothing was left undone."));
    trickle.join();
    EXPECT_TRUE(isClosed);
}

TEST_F(VelmdStop, RefusesASecondDaemonOnItsStateDirectory) {
    VelmdProcess velmd(directory.path());
    const ProgramResult second = runProgram(velmdCommand(directory.path()));
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.output,
                HasSubstr("state directory " + directory.path().string() +
                          ": is in use by the daemon with process id " + std::to_string(velmd.id()) + "\n"));
    WBEMClient client(velmd.port());
    createClass(client);
    velmd.kill();
    VelmdProcess next(directory.path());
    WBEMClient nextClient(next.port());
    EXPECT_TRUE(nextClient.call("GetClass", {{"ClassName", className("EX_Item")}}).has("EX_Item"));
}
