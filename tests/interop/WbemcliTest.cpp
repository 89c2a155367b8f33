// Debian's wbemcli, an independent client with a strict parser of its own, drives the daemon. A relay between
// the two validates every response. It cannot create classes, and has no word for subscribing: another client
// does that here.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/ValidatingRelay.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

namespace {

constexpr const char* program = "/usr/bin/wbemcli";
constexpr const char* portClass = "CIM_EthernetPort";
constexpr const char* computer = "CIM_ComputerSystem.CreationClassName=\"CIM_ComputerSystem\",Name=\"host\"";

/// What stands behind the dot of an object path, and what a list of properties is.
std::string keysIn(const std::string& path) {
    return path.substr(path.find('.') + 1);
}

std::string portPath(const std::string& device) {
    return std::string(portClass) +
           ".SystemCreationClassName=\"CIM_ComputerSystem\",SystemName=\"host\",CreationClassName=\"" +
           portClass + "\",DeviceID=\"" + device + "\"";
}

/// The keys of CIM_SystemComponent. In a list of properties a reference begins with a host, which the server
/// takes for itself, and in an object path with the namespace.
std::string componentKeys(const std::string& group, const std::string& part, const std::string& host = "") {
    const std::string place = host + "root/kob/talmora:";
    return "GroupComponent=" + place + group + ",PartComponent=" + place + part;
}

std::string componentPath(const std::string& group, const std::string& part) {
    return "CIM_SystemComponent." + componentKeys(group, part);
}

class Wbemcli : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(program)) {
            GTEST_SKIP() << "there is no " << program << "; scripts/install-dependencies installs it";
        }
    }

    void TearDown() override {
        if (!IsSkipped()) {
            EXPECT_GT(relay.responseCount(), 0U);
        }
    }

    std::string url(const std::string& object, const std::string& nameSpace = "root/kob/talmora") const {
        return "http://127.0.0.1:" + std::to_string(relay.port()) + "/" + nameSpace + ":" + object;
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

    void create(const std::string& path, const std::string& more = "") const {
        succeed({"ci", url(path), keysIn(path) + more});
    }

    void createComponent(const std::string& group, const std::string& part) const {
        succeed({"ci", url(componentPath(group, part)), componentKeys(group, part, "localhost/")});
    }

    void subscribe(const ScriptedListener& listener, const std::string& type, const std::string& aClass,
                   const WBEMClient::Parameters& more = {}) const {
        const WBEMClient::Parameters wanted =
            WBEMClient::subscriber(listener.port()) +
            WBEMClient::Parameters{{"IndicationType", value(type)}, {"ClassName", className(aClass)}};
        ASSERT_TRUE(WBEMClient(velmd.port()).call("Subscribe", wanted + more).has("TRUE"));
    }

    static std::vector<std::string> heardBy(const ScriptedListener& listener) {
        std::vector<std::string> lines;
        for (const ExportedIndication& indication : receivedBy(listener)) {
            lines.push_back(indication.kind + ' ' + indication.path + ' ' + indication.changed);
        }
        return lines;
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
    ValidatingRelay relay{velmd.port()};
};

}  // namespace

TEST_F(Wbemcli, ReadsClasses) {
    EXPECT_THAT(succeed({"gc", url(portClass)}), HasSubstr("PortNumber"));
    EXPECT_THAT(succeed({"gcd", url("CIM_SystemComponent")}), HasSubstr("CIM_SystemComponent"));
    EXPECT_THAT(succeed({"ecn", url("CIM_LogicalFile")}),
                AllOf(HasSubstr("CIM_DataFile"), HasSubstr("CIM_Directory")));
    EXPECT_THAT(succeed({"ec", url("CIM_LogicalFile")}), HasSubstr("CIM_DataFile"));
    EXPECT_THAT(relay.methods(), ElementsAre("EnumerateClassNames", "EnumerateClasses", "GetClass"));
}

TEST_F(Wbemcli, CreatesReadsChangesAndDeletesInstances) {
    create(portPath("eth0"), ",Speed=1000000,Caption=\"up and down\"");
    EXPECT_THAT(succeed({"ein", url("CIM_LogicalDevice")}), HasSubstr("DeviceID=\"eth0\""));
    EXPECT_THAT(succeed({"gi", url(portPath("eth0"))}),
                AllOf(HasSubstr("Speed=1000000"), HasSubstr("Caption=\"up and down\"")));
    succeed({"mi", url(portPath("eth0")), "Speed=10"});
    EXPECT_THAT(succeed({"ei", url(portClass)}), HasSubstr("Speed=10\n"));
    succeed({"di", url(portPath("eth0"))});
    EXPECT_THAT(succeed({"ein", url(portClass)}), Not(HasSubstr("eth0")));
    EXPECT_THAT(relay.methods(),
                IsSupersetOf({"CreateInstance", "ModifyInstance", "DeleteInstance", "GetInstance",
                              "EnumerateInstances", "EnumerateInstanceNames"}));
}

TEST_F(Wbemcli, WritesArraysAndTextOfAllKinds_AndReadsThemBack) {
    create(portPath("eth0"),
           ",OperationalStatus=2,10,NetworkAddresses=\"00:16\",\"a>b\",Caption=\"Zür'ich\"");
    const std::string read = succeed({"gi", url(portPath("eth0"))});
    EXPECT_THAT(
        read, AllOf(HasSubstr("OperationalStatus=2,10\n"), HasSubstr("NetworkAddresses=\"00:16\",\"a>b\"\n"),
                    HasSubstr("Caption=\"Zür'ich\"\n")));
}

TEST_F(Wbemcli, ReadsThePropertiesThatItNames) {
    create(portPath("eth0"), ",Speed=1,Caption=\"c\"");
    EXPECT_THAT(succeed({"gi", url(portPath("eth0")), "Caption"}),
                AllOf(HasSubstr("Caption=\"c\""), Not(HasSubstr("Speed"))));
    EXPECT_THAT(succeed({"-cte", "ei", url(portClass), "Speed,Caption"}),
                AllOf(HasSubstr("Speed=1"), Not(HasSubstr("OperationalStatus"))));
}

TEST_F(Wbemcli, DeletesAClass) {
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", "<CLASS NAME=\"EX_Gone\"></CLASS>"}}).status(), 0);
    succeed({"dc", url("EX_Gone")});
    EXPECT_THAT(fail({"gc", url("EX_Gone")}), HasSubstr("CIM_ERR_NOT_FOUND"));
}

TEST_F(Wbemcli, TiesInstancesTogetherAndFollowsTheTies) {
    create(computer);
    create(portPath("eth0"));
    create(portPath("eth1"));
    createComponent(computer, portPath("eth0"));
    const std::string port = url(portPath("eth0"));
    EXPECT_THAT(succeed({"ain", url(computer)}),
                AllOf(HasSubstr("DeviceID=\"eth0\""), Not(HasSubstr("eth1"))));
    EXPECT_THAT(succeed({"ai", port}), HasSubstr("Name=\"host\""));
    EXPECT_THAT(succeed({"rin", port}), HasSubstr("CIM_SystemComponent"));
    EXPECT_THAT(succeed({"ri", url(computer)}), HasSubstr("CIM_SystemComponent"));
    EXPECT_THAT(succeed({"-ac", "CIM_Component", "-ar", "PartComponent", "-arr", "GroupComponent", "-arc",
                         "CIM_System", "ain", port}),
                HasSubstr("Name=\"host\""));
    EXPECT_THAT(succeed({"-ac", "CIM_Dependency", "ain", port}), Not(HasSubstr("host\"")));
    EXPECT_THAT(relay.methods(),
                IsSupersetOf({"Associators", "AssociatorNames", "References", "ReferenceNames"}));
}

TEST_F(Wbemcli, ReadsAndDeletesATie_ByTheInstancesThatItTies) {
    create(computer);
    create(portPath("eth0"));
    createComponent(computer, portPath("eth0"));
    const std::string tie = url(componentPath(computer, portPath("eth0")));
    EXPECT_THAT(succeed({"gi", tie}), HasSubstr("DeviceID=\"eth0\""));
    succeed({"di", tie});
    EXPECT_THAT(fail({"gi", tie}), HasSubstr("CIM_ERR_NOT_FOUND"));
}

TEST_F(Wbemcli, IsToldWhatWasWrong) {
    EXPECT_THAT(fail({"gi", url(portPath("none"))}), HasSubstr("CIM_ERR_NOT_FOUND"));
    EXPECT_THAT(fail({"ein", url("EX_Unknown")}), HasSubstr("CIM_ERR_INVALID_CLASS"));
    EXPECT_THAT(fail({"ein", url("CIM_System", "root/none")}), HasSubstr("CIM_ERR_INVALID_NAMESPACE"));
    create(portPath("eth0"));
    EXPECT_THAT(fail({"ci", url(portPath("eth0")), keysIn(portPath("eth0"))}),
                HasSubstr("CIM_ERR_ALREADY_EXISTS"));
}

TEST_F(Wbemcli, IsToldWhatIsNotSupported) {
    create(portPath("eth0"));
    EXPECT_THAT(fail({"gp", url(portPath("eth0")), "Speed"}), HasSubstr("CIM_ERR_NOT_SUPPORTED"));
    EXPECT_THAT(fail({"sp", url(portPath("eth0")), "Speed=1"}), HasSubstr("CIM_ERR_NOT_SUPPORTED"));
    EXPECT_THAT(fail({"cm", url(portPath("eth0")), "Reset"}), HasSubstr("CIM_ERR_"));
}

TEST_F(Wbemcli, MakesAListenerHearOfWhatItDoes) {
    ScriptedListener listener(goodAnswer());
    subscribe(listener, "Creation", portClass);
    subscribe(listener, "Change", portClass);
    create(portPath("eth0"), ",Speed=1");
    succeed({"mi", url(portPath("eth0")), "Speed=2"});
    succeed({"di", url(portPath("eth0"))});
    ASSERT_TRUE(listener.waitForRequests(3));
    const std::string path =
        "root/kob/talmora:CIM_EthernetPort.CreationClassName=\"CIM_EthernetPort\",DeviceID=\"eth0\","
        "SystemCreationClassName=\"CIM_ComputerSystem\",SystemName=\"host\"";
    EXPECT_THAT(heardBy(listener), ElementsAre("Creation " + path + ' ', "Change " + path + " Speed",
                                               "Destruction " + path + ' '));
}

TEST_F(Wbemcli, MakesAListenerHearOfTiesThatComeAndGo) {
    ScriptedListener listener(goodAnswer());
    const WBEMClient::Parameters ends{{"EndOne", className("CIM_System")}, {"EndTwo", className(portClass)}};
    subscribe(listener, "Addition", "CIM_SystemComponent", ends);
    subscribe(listener, "Removal", "CIM_SystemComponent", ends);
    create(computer);
    create(portPath("eth0"));
    createComponent(computer, portPath("eth0"));
    succeed({"di", url(componentPath(computer, portPath("eth0")))});
    ASSERT_TRUE(listener.waitForRequests(2));
    EXPECT_THAT(heardBy(listener),
                ElementsAre(AllOf(testing::StartsWith("Creation "), HasSubstr("CIM_SystemComponent"),
                                  HasSubstr("eth0")),
                            AllOf(testing::StartsWith("Destruction "), HasSubstr("eth0"))));
}
