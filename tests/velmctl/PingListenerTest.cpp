// velmctl ping-listener against listeners that are good, bad, silent and not there.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* exportHeader = "CIMExport: MethodResponse\r\n";

ProgramResult ping(const ScriptedListener& listener, Words words = {}) {
    words.insert(words.begin(), {"ping-listener", "127.0.0.1:" + listener.port()});
    return runVelmctl(words);
}

Answer standardAnswer() {
    return rawAnswer(httpResponse(exportResponse(""), "HTTP/1.1 200 OK", exportHeader));
}

}  // namespace

TEST(PingListener, EndsWithZero_WhenTheListenerAccepts) {
    const ScriptedListener listener(standardAnswer());
    const ProgramResult result = ping(listener);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("HTTP/1.1 200 OK"), HasSubstr("+  CIMExport: MethodResponse"),
                      HasSubstr("+  Content-Length: "), HasSubstr("accepted: "), Not(HasSubstr("!"))));
}

TEST(PingListener, SendsWhatTheDaemonSends) {
    const ScriptedListener listener(standardAnswer());
    ASSERT_EQ(ping(listener).exitCode, 0);
    const auto request = listener.requests().at(0);
    EXPECT_THAT(request.head,
                AllOf(HasSubstr("POST /indication HTTP/1.1\r\n"), HasSubstr("CIMExport: MethodRequest\r\n"),
                      HasSubstr("CIMExportMethod: ExportIndication\r\n"),
                      HasSubstr("Content-Type: application/xml; charset=utf-8\r\n")));
    EXPECT_THAT(request.body, AllOf(HasSubstr("<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">"),
                                    HasSubstr("<INSTANCE CLASSNAME=\"CIM_InstCreation\">"),
                                    HasSubstr("VELM_ListenerTest.InstanceID=\"velmctl-ping\"")));
}

TEST(PingListener, AcceptsAReturnValueOfZero) {
    const ScriptedListener listener(goodAnswer());
    const ProgramResult result = ping(listener);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("!  CIMExport"));
}

TEST(PingListener, TellsWhyAnAnswerIsNotAccepted) {
    const struct {
        Answer answer;
        const char* told;
    } cases[] = {
        {errorAnswer("queue full"), "the listener answered CIM error 1: queue full"},
        {returnValueAnswer("1"), "the listener returned 1 instead of 0"},
        {rawAnswer(httpResponse("", "HTTP/1.1 404 Not Found")), "HTTP status 404 instead of 200"},
        {rawAnswer(httpResponse("hello")), "the body is no CIM response: "},
        {rawAnswer(httpResponse("<html/>")), "the body is no CIM response: "},
        {rawAnswer("SSH-2.0-OpenSSH\r\n"), "not accepted: "},
        {closingAnswer(), "not accepted: "},
        {resettingAnswer(), "not accepted: "},
    };
    for (const auto& [answer, told] : cases) {
        const ScriptedListener listener(answer);
        const ProgramResult result = ping(listener);
        EXPECT_EQ(result.exitCode, 7) << result.output;
        EXPECT_THAT(result.output, HasSubstr(told));
    }
}

TEST(PingListener, ExplainsEachHeader) {
    const ScriptedListener listener(rawAnswer(
        "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nCIMOperation: MethodResponse\r\nServer: x\r\n"
        "broken line\r\n\r\n" +
        exportResponse("")));
    const ProgramResult result = ping(listener);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("!  Content-Type: text/plain"), HasSubstr("!  CIMOperation: MethodResponse"),
                      HasSubstr("  Server: x"), HasSubstr("there is no colon in it"),
                      HasSubstr("!  CIMExport"), HasSubstr("!  Content-Length")));
}

TEST(PingListener, DoesNotWaitForASilentListenerForEver) {
    const ScriptedListener listener(hangingAnswer());
    const ProgramResult result = ping(listener, {"--timeout", "1"});
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("not accepted: "), HasSubstr("The listener took the message")));
}

TEST(PingListener, SaysThatNobodyListens) {
    const RefusingPort port;
    const ProgramResult result = runVelmctl({"ping-listener", "127.0.0.1:" + port.port()});
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("not accepted: "), HasSubstr("refused"), HasSubstr("Start the listener")));
}

TEST(PingListener, ConnectsToThisMachineOnly) {
    const ProgramResult result = runVelmctl({"ping-listener", "192.0.2.1:5990"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.output, HasSubstr("'192.0.2.1' is not this machine"));
}

TEST(PingListener, WritesJSON) {
    const ScriptedListener listener(errorAnswer("queue\x1b full"));
    const ProgramResult result = ping(listener, {"--json"});
    EXPECT_EQ(result.exitCode, 7);
    const auto lines = jsonLines(result.output);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].at("accepted"), false);
    EXPECT_EQ(lines[0].at("statusLine"), "HTTP/1.1 200 OK");
    EXPECT_FALSE(lines[0].at("headers").as_array().empty());
}

TEST(PingListener, ShowsControlCharactersOfAListenerAsText) {
    const ScriptedListener listener(
        rawAnswer(httpResponse(exportResponse(""), "HTTP/1.1 200 OK", "X-Evil: \x1b[2Jgone\r\n")));
    EXPECT_THAT(ping(listener).output, AllOf(HasSubstr("\\x1b[2Jgone"), Not(HasSubstr("\x1b"))));
}
