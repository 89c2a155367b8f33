// What velmctl makes of a daemon of another version: a listener that answers as one would stands in for it.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char* newerStatus =
    R"({"version":"9.9.9","isReady":true,"indicationsEnabled":true,"planets":["moon"],"counters":{}})";

std::string serverOf(const ScriptedListener& daemon) {
    return "127.0.0.1:" + daemon.port();
}

ProgramResult ask(const ScriptedListener& daemon, Words words) {
    words.insert(words.end(), {"--server", serverOf(daemon)});
    return runVelmctl(words);
}

std::string responseTo(const std::string& method, const std::string& content) {
    return "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP>"
           "<IMETHODRESPONSE NAME=\"" +
           method + "\">" + content + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
}

Answer unknownMethod() {
    return rawAnswer(httpResponse(
        responseTo("LogIndications",
                   R"(<ERROR CODE="7" DESCRIPTION="the operation LogIndications is not supported"/>)")));
}

Answer notFound() {
    return rawAnswer(httpResponse("", "HTTP/1.1 404 Not Found"));
}

Answer statusDocument() {
    return rawAnswer(httpResponse(newerStatus));
}

}  // namespace

TEST(OtherVersion, IsToldByStatus_BesideWhatCanBeUnderstood) {
    const ScriptedListener daemon(statusDocument());
    const ProgramResult result = ask(daemon, {"status"});
    EXPECT_EQ(result.exitCode, 8);
    EXPECT_THAT(result.output, AllOf(HasSubstr("the daemon at " + serverOf(daemon) +
                                               " is velmd 9.9.9, and this is velmctl 0."),
                                     HasSubstr("velmd 9.9.9 at " + serverOf(daemon) + ": ready")));
}

TEST(OtherVersion, IsTheReason_WhenARequestIsNotKnown) {
    ScriptedListener daemon(statusDocument());
    daemon.queueAnswer(unknownMethod());
    const ProgramResult result = ask(daemon, {"log", "on"});
    EXPECT_EQ(result.exitCode, 8);
    const std::string said = unwrapped(result.output);
    EXPECT_THAT(said, AllOf(StartsWith("velmctl: the daemon at " + serverOf(daemon) +
                                       " is velmd 9.9.9, and this is velmctl 0."),
                            HasSubstr("LogIndications is not supported"),
                            HasSubstr("restart the daemon after an update\n")));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST(OtherVersion, IsTheReason_WhenAPageIsNotThere) {
    for (const Words& words : {Words{"dump"}, Words{"log", "tail"}}) {
        ScriptedListener daemon(statusDocument());
        daemon.queueAnswer(notFound());
        const ProgramResult result = ask(daemon, words);
        EXPECT_EQ(result.exitCode, 8);
        EXPECT_THAT(result.output, AllOf(HasSubstr("velmd 9.9.9"), HasSubstr("HTTP status 404 Not Found")));
    }
}

TEST(OtherVersion, IsAnOldOne_WhenItDoesNotTellItsVersion) {
    ScriptedListener daemon(rawAnswer(httpResponse(responseTo("EnumerateClassNames", ""))));
    daemon.queueAnswer(notFound());
    daemon.queueAnswer(notFound());
    const ProgramResult result = ask(daemon, {"status", "--json"});
    EXPECT_EQ(result.exitCode, 8);
    const auto lines = jsonLines(result.output);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(std::string(lines[0].at("error").as_string()), HasSubstr("an older velmd"));
    EXPECT_EQ(lines[0].at("exitCode").as_int64(), 8);
}

TEST(OtherVersion, IsNotTheReason_WhenNoDaemonIsThere) {
    const ScriptedListener other(notFound());
    const ProgramResult result = ask(other, {"status"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(unwrapped(result.output), "velmctl: what listens on " + serverOf(other) +
                                            " is no velmd. Name the daemon's port with --server HOST:PORT\n");
}

TEST(OtherVersion, IsNotTheReason_WhenItsStatusMakesNoSense) {
    for (const char* body : {"", "hello", "{}", R"({"version":"1","counters":7})"}) {
        const ScriptedListener other(rawAnswer(httpResponse(body)));
        const ProgramResult result = ask(other, {"status"});
        EXPECT_EQ(result.exitCode, 3) << result.output;
        EXPECT_THAT(result.output, HasSubstr("cannot be read"));
    }
}
