// Loadable providers in the daemon: the example as its readers build it, and what the log says of others.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace json = boost::json;

constexpr const char* declaration = VELM_SOURCE_DIR "/examples/provider/CIM_ResourcePool.xml";

class VelmdProvider : public testing::Test {
protected:
    std::vector<std::string> withProvider(const std::string& name, const std::string& file,
                                          std::vector<std::string> more = {}) const {
        more.insert(more.end(), {"--set", "Providers.Directory=" + providerFolder(directory, name, file)});
        return more;
    }

    void importDeclaration() const {
        const ProgramResult result =
            runProgram({velmdProgram(), "--state-dir", state.string(), "--import", declaration});
        ASSERT_EQ(result.exitCode, 0) << result.output;
    }

    static json::value statusOf(const VelmdProcess& velmd) {
        return json::parse(runProgram({"/usr/bin/curl", "--silent", "--show-error", "--fail",
                                       "http://127.0.0.1:" + std::to_string(velmd.port()) + "/status.json"})
                               .output);
    }

    /// Touched memory is memory in use: each round brings about a change, however quiet the machine is.
    static bool makesMemoryChangeUntilHeard(const ScriptedListener& listener) {
        std::vector<std::vector<char>> touched;
        for (int round = 0; round < 200; ++round) {
            touched.emplace_back(1 << 20, 'x');
            if (listener.waitForRequests(1, milliseconds(100))) {
                return true;
            }
        }
        return false;
    }

    TemporaryDirectory directory;
    const std::filesystem::path state = directory.path() / "state";
};

}  // namespace

TEST_F(VelmdProvider, OfTheExampleIsServedAndReportsChanges) {
    importDeclaration();
    VelmdProcess velmd(state, withProvider("memory", VELM_EXAMPLE_PROVIDER));
    WBEMClient client(velmd.port());
    const WBEMAnswer pools =
        client.call("EnumerateInstances", {{"ClassName", className("CIM_ResourcePool")}});
    EXPECT_EQ(pools.status(), 0) << pools.body;
    EXPECT_THAT(pools.body, testing::ContainsRegex("NAME=\"Reserved\"[^>]*><VALUE>[1-9][0-9]*</VALUE>"));
    const ScriptedListener listener(goodAnswer());
    ASSERT_TRUE(
        client
            .call("Subscribe", WBEMClient::subscriber(listener.port()) +
                                   WBEMClient::Parameters{{"IndicationType", value("Change")},
                                                          {"ClassName", className("CIM_ResourcePool")}})
            .has("TRUE"));
    ASSERT_TRUE(makesMemoryChangeUntilHeard(listener)) << velmd.log();
    const ExportedIndication first = receivedBy(listener).front();
    EXPECT_EQ(first.kind, "Change");
    EXPECT_THAT(first.path, HasSubstr("CIM_ResourcePool.InstanceID="));
    EXPECT_EQ(first.changed, "Reserved");
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_THAT(velmd.log(), Not(HasSubstr("[warning]")));
}

TEST_F(VelmdProvider, TellsWhatItWatches_FromTheFirstSubscriptionToTheLast) {
    VelmdProcess velmd(state, withProvider("file_watch", VELM_TEST_FILE_PROVIDER,
                                           {"--set", "Providers.file_watch=" + directory.path().string()}));
    WBEMClient client(velmd.port());
    const auto provider = [&] { return statusOf(velmd).at("providers").at(0); };
    EXPECT_EQ(provider().at("watched").at(0).as_string(), directory.path().string());
    EXPECT_TRUE(provider().at("observers").as_array().empty());
    const auto wanted =
        WBEMClient::subscriber("1") +
        WBEMClient::Parameters{{"IndicationType", value("Change")}, {"ClassName", className("CIM_DataFile")}};
    ASSERT_TRUE(client.call("Subscribe", wanted).has("TRUE"));
    const json::value observer = provider().at("observers").at(0);
    EXPECT_EQ(observer.at("subject").as_string(), "CIM_DataFile");
    EXPECT_EQ(observer.at("indication").as_string(), "Change");
    EXPECT_FALSE(observer.at("isInstance").as_bool());
    EXPECT_EQ(provider().at("observersLeftOut").to_number<int>(), 0);
    const json::value registrations = provider().at("durations").at(0);
    EXPECT_EQ(registrations.at("operation").as_string(), "registerObserver");
    EXPECT_GT(registrations.at("durations").at("sum").to_number<double>(), 0);
    ASSERT_TRUE(client.call("Unsubscribe", wanted).has("TRUE"));
    EXPECT_TRUE(provider().at("observers").as_array().empty());
}

TEST_F(VelmdProvider, IsWarnedOf_WhenTheRepositoryLacksItsClass) {
    const VelmdProcess velmd(state, withProvider("memory", VELM_EXAMPLE_PROVIDER));
    EXPECT_TRUE(
        velmd.waitForLog("The provider memory serves 'CIM_ResourcePool', which namespace root/kob/talmora "
                         "does not have; velmd "
                         "--import loads the declaration of a class"));
}

TEST_F(VelmdProvider, IsWarnedOf_WhenItHasAnArgumentAndIsNotLoaded) {
    const VelmdProcess velmd(state, {"--set", "Providers.file_wach=/srv"});
    EXPECT_TRUE(velmd.waitForLog("Providers.file_wach is set, and no provider of that name was loaded."));
}

TEST_F(VelmdProvider, OfTheExampleTakesFiftyLinesOfCodeAtTheMost) {
    std::ifstream source(VELM_SOURCE_DIR "/examples/provider/MemoryProvider.cpp");
    int lines = 0;
    for (std::string line; std::getline(source, line);) {
        const auto first = line.find_first_not_of(' ');
        lines += first != std::string::npos && line.compare(first, 2, "//") != 0 ? 1 : 0;
    }
    EXPECT_GT(lines, 0);
    EXPECT_LE(lines, 50);
}
