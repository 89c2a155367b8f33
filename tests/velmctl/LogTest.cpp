// velmctl log: the log of what the daemon delivered, switched, marked, cleared and read.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* marker = "############################################################\n";

class Log : public Velmctl {
protected:
    void SetUp() override {
        ASSERT_EQ(runVelmctl(to({"subscribe", "CIM_ComputerSystem", "--to", "127.0.0.1:" + listener.port()}))
                      .exitCode,
                  0);
    }

    ProgramResult log(Words words) const {
        words.insert(words.begin(), "log");
        return runVelmctl(to(words));
    }

    /// Has an indication delivered that names this computer, and waits for its line.
    void deliver(const std::string& name) {
        createComputer(name);
        ASSERT_TRUE(listener.waitForRequests(++delivered));
        ASSERT_TRUE(holdsInTime([&] { return tail().find(name) != std::string::npos; }));
    }

    std::string tail() const { return log({"tail"}).output; }

    ScriptedListener listener;
    std::size_t delivered = 0;
};

}  // namespace

TEST_F(Log, SaysThatItIsOff_AndHowToSwitchItOn) {
    EXPECT_THAT(tail(), AllOf(HasSubstr("CIMOM started."), HasSubstr("Logging is off"),
                              HasSubstr("Switch it on with: velmctl log on\n")));
}

TEST_F(Log, HasALineForEachDelivery_WhileItIsOn) {
    const ProgramResult on = log({"on"});
    ASSERT_EQ(on.exitCode, 0) << on.output;
    EXPECT_THAT(on.output, AllOf(StartsWith("on: "), HasSubstr("LegacyIndicationsLog.txt")));
    ASSERT_EQ(log({"mark"}).exitCode, 0);
    deliver("moon");
    EXPECT_THAT(tail(), AllOf(HasSubstr(marker), HasSubstr("CIMOM Fired indication to '127.0.0.1:"),
                              Not(HasSubstr("Logging is off"))));
    EXPECT_THAT(log({"tail", "--lines", "1"}).output, AllOf(HasSubstr("moon"), Not(HasSubstr(marker))));
    const ProgramResult off = log({"off"});
    EXPECT_EQ(off.exitCode, 0);
    EXPECT_THAT(off.output, StartsWith("off: "));
    EXPECT_THAT(tail(), HasSubstr("Logging is off"));
    EXPECT_THAT(log({"mark"}).output, HasSubstr("Logging is off"));
}

TEST_F(Log, IsEmpty_AfterItWasCleared) {
    ASSERT_EQ(log({"on"}).exitCode, 0);
    deliver("moon");
    EXPECT_THAT(log({"clear"}).output, StartsWith("cleared "));
    EXPECT_EQ(tail(), "");
    deliver("mars");
    EXPECT_THAT(tail(), Not(HasSubstr("moon")));
}

TEST_F(Log, IsFollowed_ThroughAClear_UntilControlC) {
    ASSERT_EQ(log({"on"}).exitCode, 0);
    TerminalProcess screen(velmctlCommand(to({"log", "tail", "-f"})));
    ASSERT_TRUE(screen.waitFor("CIMOM started.")) << screen.screen();
    deliver("moon");
    EXPECT_TRUE(screen.waitFor("moon")) << screen.screen();
    ASSERT_EQ(log({"clear"}).exitCode, 0);
    EXPECT_TRUE(screen.waitFor("The log was cleared.")) << screen.screen();
    deliver("mars");
    EXPECT_TRUE(screen.waitFor("mars")) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
}

TEST_F(Log, IsFollowed_ThroughARestartOfTheDaemon) {
    TerminalProcess screen(velmctlCommand(to({"log", "tail", "-f"})));
    ASSERT_TRUE(screen.waitFor("Logging is off")) << screen.screen();
    velmd.kill();
    ASSERT_TRUE(screen.waitFor("The daemon is gone")) << screen.screen();
    const ProgramProcess again({velmdProgram(), "--state-dir", directory.path().string(), "--port",
                                std::to_string(velmd.port()), "--set",
                                "Providers.Directory=" + (directory.path() / "none").string()});
    EXPECT_TRUE(screen.waitFor("The daemon is back, with the log switched off")) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
}

TEST_F(Log, IsAnObjectALine_WhenJSONIsWanted) {
    const auto on = jsonLines(log({"on", "--json"}).output);
    ASSERT_EQ(on.size(), 1U);
    EXPECT_EQ(on[0].at("done"), "on");
    EXPECT_EQ(on[0].at("isOn"), true);
    deliver("moon");
    const auto lines = jsonLines(log({"tail", "--json"}).output);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(std::string(lines[1].at("line").as_string()), HasSubstr("moon"));
}

TEST_F(Log, MovesNoCursor) {
    ASSERT_EQ(log({"on"}).exitCode, 0);
    createComputer(
        "a\xC2\x9B"
        "2Jz");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_TRUE(holdsInTime([&] { return tail().find(R"(a\x9b2Jz)") != std::string::npos; })) << tail();
}

TEST_F(Log, SuggestsTheNearestAction) {
    const ProgramResult result = log({"taill"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(unwrapped(result.output), HasSubstr("did you mean 'tail'?"));
}

TEST_F(Log, TakesTheOptionsOfTailForTailOnly) {
    for (const Words& words : {Words{"on", "--follow"}, Words{"clear", "--lines", "3"}}) {
        const ProgramResult refused = log(words);
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_THAT(refused.output, HasSubstr("--lines and --follow are for tail"));
    }
}
