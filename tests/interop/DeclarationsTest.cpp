// What a standard MOF compiler sends when it loads declarations over the wire: for each qualifier type and
// class of
//
//     Qualifier EX_Unit : string = null, Scope(property), Flavor(EnableOverride, ToSubclass);
//     class EX_Sensor { [Key] string Bus; [Key] string Name; [EX_Unit("Celsius")] real32 Reading; };
//     class EX_FineSensor : EX_Sensor { uint16 Digits = 3; };
//     class EX_Room { [Key] string Building; [Key] uint16 Number; };
//     [Association] class EX_Placed { [Key] EX_Room REF Room; [Key] EX_Sensor REF Sensor; };
//
// it asks whether what this builds on is there, then sets or creates. Its requests are written here as it
// frames them; wbemcli then works with what was loaded.

#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/ValidatingRelay.h"
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

namespace {

constexpr const char* wbemcli = "/usr/bin/wbemcli";
constexpr const char* nameSpace = "root/kob/talmora";

std::string keyProperty(const std::string& name, const std::string& type) {
    return "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + type +
           "\" PROPAGATED=\"false\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\" PROPAGATED=\"false\" "
           "OVERRIDABLE=\"false\" "
           "TOSUBCLASS=\"true\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>";
}

std::string keyReference(const std::string& name, const std::string& aClass) {
    return "<PROPERTY.REFERENCE NAME=\"" + name + "\" REFERENCECLASS=\"" + aClass +
           "\" PROPAGATED=\"false\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\" PROPAGATED=\"false\" "
           "OVERRIDABLE=\"false\" "
           "TOSUBCLASS=\"true\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>";
}

const std::string unitQualifier =
    "<QUALIFIER.DECLARATION ISARRAY=\"false\" NAME=\"EX_Unit\" OVERRIDABLE=\"true\" TOSUBCLASS=\"true\" "
    "TYPE=\"string\">"
    "<SCOPE PROPERTY=\"true\"/></QUALIFIER.DECLARATION>";

const std::string associationQualifier =
    "<QUALIFIER.DECLARATION ISARRAY=\"false\" NAME=\"Association\" OVERRIDABLE=\"false\" TOSUBCLASS=\"true\" "
    "TYPE=\"boolean\"><SCOPE ASSOCIATION=\"true\"/><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>";

const std::string sensorClass = "<CLASS NAME=\"EX_Sensor\">" + keyProperty("Bus", "string") +
                                keyProperty("Name", "string") +
                                "<PROPERTY NAME=\"Reading\" TYPE=\"real32\" PROPAGATED=\"false\"><QUALIFIER "
                                "NAME=\"EX_Unit\" TYPE=\"string\" "
                                "PROPAGATED=\"false\" OVERRIDABLE=\"true\" "
                                "TOSUBCLASS=\"true\"><VALUE>Celsius</VALUE></QUALIFIER></PROPERTY></CLASS>";

const std::string fineSensorClass =
    "<CLASS NAME=\"EX_FineSensor\" SUPERCLASS=\"EX_Sensor\"><PROPERTY NAME=\"Digits\" TYPE=\"uint16\" "
    "PROPAGATED=\"false\"><VALUE>3</VALUE></PROPERTY></CLASS>";

const std::string roomClass = "<CLASS NAME=\"EX_Room\">" + keyProperty("Building", "string") +
                              keyProperty("Number", "uint16") + "</CLASS>";

const std::string placedClass =
    "<CLASS NAME=\"EX_Placed\"><QUALIFIER NAME=\"Association\" TYPE=\"boolean\" PROPAGATED=\"false\" "
    "OVERRIDABLE=\"false\" TOSUBCLASS=\"true\"><VALUE>TRUE</VALUE></QUALIFIER>" +
    keyReference("Room", "EX_Room") + keyReference("Sensor", "EX_Sensor") + "</CLASS>";

/// Frames its requests as the compiler does.
class Compiler {
public:
    explicit Compiler(std::uint16_t port) : _port(port), _connection(port) {}

    WBEMAnswer call(const std::string& method, const std::string& parameters) {
        const std::string body =
            "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" "
            "DTDVERSION=\"2.0\"><MESSAGE "
            "ID=\"1001\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
            method +
            "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"kob\"/><NAMESPACE "
            "NAME=\"talmora\"/></LOCALNAMESPACEPATH>" +
            parameters + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
        _connection.send("POST /cimom HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(_port) +
                         "\r\nUser-Agent: compiler\r\nAccept-Encoding: gzip, deflate\r\nAccept: */*\r\n"
                         "Connection: keep-alive\r\nContent-type: application/xml; charset=\"utf-8\"\r\n"
                         "Content-Length: " +
                         std::to_string(body.size()) + "\r\nCIMOperation: MethodCall\r\nCIMMethod: " +
                         method + "\r\nCIMObject: " + nameSpace + "\r\n\r\n" + body);
        WBEMAnswer answer = _connection.next();
        EXPECT_EQ(answer.httpStatus, 200U);
        EXPECT_THAT(answer.headers["content-type"], testing::StartsWith("application/xml"));
        EXPECT_TRUE(answer.has("<IMETHODRESPONSE NAME=\"" + method + "\">")) << answer.body;
        return answer;
    }

    void declareQualifier(const std::string& name, const std::string& declaration, bool isThere) {
        const int found = call("GetQualifier", parameter("QualifierName", value(name))).status();
        EXPECT_EQ(found, isThere ? 0 : 6);
        const WBEMAnswer set = call("SetQualifier", parameter("QualifierDeclaration", declaration));
        EXPECT_EQ(set.status(), 0) << set.body;
        EXPECT_TRUE(call("GetQualifier", parameter("QualifierName", value(name))).has(name));
    }

    void createClass(const std::string& name, const std::string& declaration) {
        EXPECT_EQ(getClass(name).status(), 6);
        const WBEMAnswer created = call("CreateClass", parameter("NewClass", declaration));
        EXPECT_EQ(created.status(), 0) << created.body;
        EXPECT_FALSE(created.has("IRETURNVALUE"));
    }

    WBEMAnswer getClass(const std::string& name) {
        return call("GetClass", parameter("ClassName", className(name)) +
                                    parameter("LocalOnly", value("FALSE")) +
                                    parameter("IncludeQualifiers", value("TRUE")));
    }

    void load() {
        EXPECT_EQ(call("EnumerateQualifiers", "").status(), 0);
        declareQualifier("EX_Unit", unitQualifier, false);
        declareQualifier("Association", associationQualifier, true);
        createClass("EX_Sensor", sensorClass);
        createClass("EX_FineSensor", fineSensorClass);
        createClass("EX_Room", roomClass);
        createClass("EX_Placed", placedClass);
    }

    static std::string parameter(const std::string& name, const std::string& content) {
        return "<IPARAMVALUE NAME=\"" + name + "\">" + content + "</IPARAMVALUE>";
    }

private:
    const std::uint16_t _port;
    ResponseSocket _connection;
};

class Declarations : public testing::Test {
protected:
    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
    ValidatingRelay relay{velmd.port()};
    Compiler compiler{velmd.port()};
};

}  // namespace

TEST_F(Declarations, AreTakenFromACompiler_AndAnsweredAsItWroteThem) {
    compiler.load();
    const WBEMAnswer fine = compiler.getClass("EX_FineSensor");
    EXPECT_TRUE(fine.has("SUPERCLASS=\"EX_Sensor\"")) << fine.body;
    EXPECT_TRUE(fine.has("<VALUE>Celsius</VALUE>")) << fine.body;
    EXPECT_TRUE(fine.has("<VALUE>3</VALUE>")) << fine.body;
    const WBEMAnswer placed = compiler.getClass("EX_Placed");
    EXPECT_TRUE(placed.has("REFERENCECLASS=\"EX_Room\"")) << placed.body;
}

TEST_F(Declarations, AreRefusedWithTheCodesThatACompilerActsOn) {
    const auto create = [this](const std::string& declaration) {
        return compiler.call("CreateClass", Compiler::parameter("NewClass", declaration)).status();
    };
    EXPECT_EQ(create(fineSensorClass), 10) << "it would compile the superclass next";
    compiler.load();
    EXPECT_EQ(create(sensorClass), 11) << "it would modify the class next";
    EXPECT_EQ(compiler.call("ModifyClass", Compiler::parameter("ModifiedClass", sensorClass)).status(), 7);
}

TEST_F(Declarations, OfACompiler_AreWhatAnotherClientWorksWith) {
    if (!std::filesystem::exists(wbemcli)) {
        GTEST_SKIP() << "there is no " << wbemcli << "; scripts/install-dependencies installs it";
    }
    compiler.load();
    ScriptedListener listener(goodAnswer());
    const auto subscribed =
        WBEMClient(velmd.port())
            .call("Subscribe", WBEMClient::subscriber(listener.port()) +
                                   WBEMClient::Parameters{{"IndicationType", value("Addition")},
                                                          {"ClassName", className("EX_Placed")},
                                                          {"EndOne", className("EX_Room")},
                                                          {"EndTwo", className("EX_Sensor")}});
    ASSERT_TRUE(subscribed.has("TRUE")) << subscribed.body;
    const auto run = [this](const std::string& operation, const std::string& object,
                            const std::string& properties = "") {
        std::vector<std::string> command{wbemcli, "-nl", operation, "http://127.0.0.1:"};
        command.back() += std::to_string(relay.port()) + "/" + nameSpace + ":" + object;
        if (!properties.empty()) {
            command.push_back(properties);
        }
        const ProgramResult result = runProgram(command);
        EXPECT_EQ(result.exitCode, 0) << result.output;
        return result.output;
    };
    const std::string room = "Building=\"Main building\",Number=7";
    const std::string sensor = "Bus=\"i2c\",Name=\"t1\"";
    // It names a host in a list of properties, and none in a path.
    const auto tie = [&](const std::string& host) {
        return "Room=" + host + "root/kob/talmora:EX_Room." + room + ",Sensor=" + host +
               "root/kob/talmora:EX_FineSensor." + sensor;
    };
    run("ci", "EX_Room." + room, room);
    run("ci", "EX_FineSensor." + sensor, sensor + ",Reading=21.5");
    run("ci", "EX_Placed." + tie(""), tie("localhost/"));
    EXPECT_THAT(run("ai", "EX_Room." + room),
                AllOf(HasSubstr("Reading=21.5"), HasSubstr("Digits=3"), HasSubstr("Name=\"t1\"")));
    ASSERT_TRUE(listener.waitForRequests(1));
    const auto heard = receivedBy(listener);
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_THAT(heard[0].path, AllOf(HasSubstr("EX_Placed.Room="), HasSubstr("EX_FineSensor.Bus=")));
    run("di", "EX_Placed." + tie(""));
    run("di", "EX_FineSensor." + sensor);
    run("dc", "EX_FineSensor");
    EXPECT_EQ(compiler.getClass("EX_FineSensor").status(), 6);
}
