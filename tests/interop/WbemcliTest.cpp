#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// An independent client, with a strict parser of its own, drives the daemon.

using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* program = "/usr/bin/wbemcli";
constexpr const char* portClass = "CIM_EthernetPort";

/// The keys of a port, as object paths and as lists of properties have them.
std::string portKeys(const std::string& device) {
    return "SystemCreationClassName=\"CIM_ComputerSystem\",SystemName=\"host\",CreationClassName=\"CIM_"
           "EthernetPort\","
           "DeviceID=\"" +
           device + "\"";
}

std::string portPath(const std::string& device) {
    return std::string(portClass) + "." + portKeys(device);
}

std::string reference(const std::string& property, const std::string& className,
                      const std::vector<std::pair<std::string, std::string>>& keys) {
    std::string xml = "<PROPERTY.REFERENCE NAME=\"" + property +
                      "\"><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"" + className + "\">";
    for (const auto& [name, text] : keys) {
        xml += "<KEYBINDING NAME=\"" + name + "\"><KEYVALUE>" + text + "</KEYVALUE></KEYBINDING>";
    }
    return xml + "</INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>";
}

class Wbemcli : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(program)) {
            GTEST_SKIP() << program << " is not installed";
        }
    }

    std::string url(const std::string& object) const {
        return "http://127.0.0.1:" + std::to_string(velmd.port()) + "/root/kob/talmora:" + object;
    }

    ProgramResult run(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{program, "-nl"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runProgram(command);
    }

    std::string succeed(const std::vector<std::string>& arguments) const {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.output;
        return result.output;
    }

    std::string fail(const std::vector<std::string>& arguments) const {
        const ProgramResult result = run(arguments);
        EXPECT_NE(result.exitCode, 0) << result.output;
        return result.output;
    }

    void createPort(const std::string& device, const std::string& more = "") const {
        succeed({"ci", url(portPath(device)), portKeys(device) + more});
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
};

}  // namespace

TEST_F(Wbemcli, ReadsClasses) {
    EXPECT_THAT(succeed({"gc", url(portClass)}), HasSubstr("PortNumber"));
    EXPECT_THAT(succeed({"ecn", url("CIM_LogicalFile")}),
                testing::AllOf(HasSubstr("CIM_DataFile"), HasSubstr("CIM_Directory")));
    EXPECT_THAT(succeed({"ec", url("CIM_LogicalFile")}), HasSubstr("CIM_DataFile"));
}

TEST_F(Wbemcli, CreatesReadsChangesAndDeletesInstances) {
    createPort("eth0", ",Speed=1000000,Caption=\"up and down\"");
    EXPECT_THAT(succeed({"ein", url("CIM_LogicalDevice")}), HasSubstr("DeviceID=\"eth0\""));
    EXPECT_THAT(succeed({"gi", url(portPath("eth0"))}),
                testing::AllOf(HasSubstr("Speed=1000000"), HasSubstr("Caption=\"up and down\"")));
    succeed({"mi", url(portPath("eth0")), "Speed=10"});
    EXPECT_THAT(succeed({"ei", url(portClass)}), HasSubstr("Speed=10\n"));
    succeed({"di", url(portPath("eth0"))});
    EXPECT_THAT(succeed({"ein", url(portClass)}), Not(HasSubstr("eth0")));
}

TEST_F(Wbemcli, DeletesAClass) {
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", "<CLASS NAME=\"EX_Gone\"></CLASS>"}}).status(), 0);
    succeed({"dc", url("EX_Gone")});
    EXPECT_THAT(fail({"gc", url("EX_Gone")}), HasSubstr("CIM_ERR_NOT_FOUND"));
}

TEST_F(Wbemcli, FollowsAssociations) {
    const std::string group = "CIM_ComputerSystem.CreationClassName=\"CIM_ComputerSystem\",Name=\"host\"";
    succeed({"ci", url(group), "CreationClassName=\"CIM_ComputerSystem\",Name=\"host\""});
    createPort("eth0");
    const std::string port = portPath("eth0");
    // It cannot write a reference whose keys are several.
    WBEMClient client(velmd.port());
    const WBEMAnswer created = client.call(
        "CreateInstance",
        {{"NewInstance", "<INSTANCE CLASSNAME=\"CIM_SystemComponent\">" +
                             reference("GroupComponent", "CIM_ComputerSystem",
                                       {{"CreationClassName", "CIM_ComputerSystem"}, {"Name", "host"}}) +
                             reference("PartComponent", portClass,
                                       {{"SystemCreationClassName", "CIM_ComputerSystem"},
                                        {"SystemName", "host"},
                                        {"CreationClassName", portClass},
                                        {"DeviceID", "eth0"}}) +
                             "</INSTANCE>"}});
    ASSERT_EQ(created.status(), 0) << created.body;
    EXPECT_THAT(succeed({"ain", url(group)}), HasSubstr("DeviceID=\"eth0\""));
    EXPECT_THAT(succeed({"ai", url(port)}), HasSubstr("Name=\"host\""));
    EXPECT_THAT(succeed({"rin", url(port)}), HasSubstr("CIM_SystemComponent"));
    EXPECT_THAT(succeed({"ri", url(group)}), HasSubstr("CIM_SystemComponent"));
}

TEST_F(Wbemcli, IsToldWhatWasWrong) {
    EXPECT_THAT(fail({"gi", url(portPath("none"))}), HasSubstr("CIM_ERR_NOT_FOUND"));
    EXPECT_THAT(fail({"ein", url("EX_Unknown")}), HasSubstr("CIM_ERR_INVALID_CLASS"));
    EXPECT_THAT(fail({"ein", "http://127.0.0.1:" + std::to_string(velmd.port()) + "/root/none:CIM_System"}),
                HasSubstr("CIM_ERR_INVALID_NAMESPACE"));
    createPort("eth0");
    EXPECT_THAT(fail({"ci", url(portPath("eth0")), portKeys("eth0")}), HasSubstr("CIM_ERR_ALREADY_EXISTS"));
}

TEST_F(Wbemcli, MakesAListenerHearOfWhatItDoes) {
    ScriptedListener listener(goodAnswer());
    WBEMClient client(velmd.port());
    for (const char* type : {"Creation", "Change"}) {
        const WBEMClient::Parameters wanted =
            WBEMClient::subscriber(listener.port()) +
            WBEMClient::Parameters{{"IndicationType", value(type)}, {"ClassName", className(portClass)}};
        ASSERT_TRUE(client.call("Subscribe", wanted).has("TRUE"));
    }
    createPort("eth0", ",Speed=1");
    succeed({"mi", url(portPath("eth0")), "Speed=2"});
    succeed({"di", url(portPath("eth0"))});
    ASSERT_TRUE(listener.waitForRequests(3));
    std::vector<std::string> kinds;
    for (const ExportedIndication& indication : receivedBy(listener)) {
        kinds.push_back(indication.kind + " " + indication.changed);
    }
    EXPECT_THAT(kinds, ElementsAre("Creation ", "Change Speed", "Destruction "));
}
