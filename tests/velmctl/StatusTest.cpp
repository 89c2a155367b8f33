// velmctl status, with listeners that work and listeners that do not.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <csignal>
#include <regex>

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class Status : public Velmctl {
protected:
    ProgramResult status(Words words = {}) const {
        words.insert(words.begin(), "status");
        return runVelmctl(to(words));
    }

    void subscribe(const std::string& listener) const {
        ASSERT_EQ(runVelmctl(to({"subscribe", "CIM_ComputerSystem", "--to", listener})).exitCode, 0);
    }

    /// Subscribes for a listener that is not there, and has it fail. Answers its address.
    std::string failAt(const RefusingPort& port) const {
        const std::string listener = "127.0.0.1:" + port.port();
        subscribe(listener);
        createComputer("moon");
        EXPECT_TRUE(holdsInTime([&] { return status().output.find("failing") != std::string::npos; }))
            << status().output;
        return listener;
    }
};

std::vector<std::string> linesOf(const std::string& screen) {
    const std::string plain = std::regex_replace(screen, std::regex("\x1b\\[[0-9;]*[A-Za-z]"), "");
    std::vector<std::string> lines;
    std::istringstream stream(plain);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

TEST_F(Status, TellsThatAllIsWell_AndThatNobodyIsSubscribed) {
    const ProgramResult result = status();
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_THAT(result.output, AllOf(StartsWith("velmd "), HasSubstr(") at " + server() + ": ready, up "),
                                     HasSubstr("under way, log off\n"), HasSubstr("Nobody is subscribed.")));
}

TEST_F(Status, ShowsWhoFails_Why_AndSinceWhen) {
    const RefusingPort port;
    const std::string listener = failAt(port);
    TerminalProcess screen(velmctlCommand(to({"status"})), 80);
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), ContainsRegex(listener + "/1 +.*failing"));
    EXPECT_THAT(screen.screen(), HasSubstr("\x1b[31m"));
    EXPECT_THAT(screen.screen(), ContainsRegex("refused.*(now|[0-9]+ s ago)"));
    for (const std::string& line : linesOf(screen.screen())) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(Status, TellsWhyAListenerHearsNothing) {
    const RefusingPort port;
    const std::string listener = failAt(port);
    const ProgramResult result = status({listener});
    EXPECT_EQ(result.exitCode, 9) << result.output;
    EXPECT_THAT(result.output,
                AllOf(StartsWith(listener + "/1\n"), HasSubstr("What is sent to it does not arrive."),
                      HasSubstr("velmctl ping-listener " + listener + "\n"),
                      HasSubstr("velmctl unsubscribe CLASS --to " + listener + " --session 1")));
    const ProgramResult nobody = status({"127.0.0.1:1/7", "--json"});
    EXPECT_EQ(nobody.exitCode, 9);
    const auto lines = jsonLines(nobody.output);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].at("isWell"), false);
    EXPECT_EQ(lines[0].at("subscriber"), "127.0.0.1:1/7");
}

TEST_F(Status, TellsThatAListenerIsWell) {
    const ScriptedListener listener;
    const std::string address = "127.0.0.1:" + listener.port();
    subscribe(address);
    const ProgramResult before = status({address + "/1"});
    EXPECT_EQ(before.exitCode, 0);
    EXPECT_THAT(before.output, HasSubstr("Nothing was reported"));
    createComputer("moon");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_TRUE(holdsInTime([&] { return status({address}).exitCode == 0; })) << status({address}).output;
    EXPECT_THAT(status({address}).output, HasSubstr("All is well"));
}

TEST_F(Status, KnowsTheSessions_WhenOneIsTakenBackThatIsNot) {
    const RefusingPort port;
    const std::string listener = "127.0.0.1:" + port.port();
    subscribe(listener);
    const ProgramResult result =
        runVelmctl(to({"unsubscribe", "CIM_ComputerSystem", "--to", listener, "--session", "2"}));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(unwrapped(result.output), HasSubstr("; subscribed there: session 1\n"));
}

TEST_F(Status, DoesNotCountAListenerThatLeft) {
    TerminalProcess listen(velmctlCommand(to({"listen", "CIM_ComputerSystem"})));
    ASSERT_TRUE(listen.waitFor("Ctrl-C ends"));
    EXPECT_THAT(status().output, ContainsRegex("127.0.0.1:[0-9]+/[0-9]+ +new "));
    listen.typeControlC();
    EXPECT_EQ(listen.wait(), 0);
    EXPECT_THAT(status().output, AllOf(HasSubstr("Nobody is subscribed (+ 1 that left)."),
                                       ContainsRegex("127.0.0.1:[0-9]+/[0-9]+ +left ")));
}

TEST_F(Status, TellsOfOneThatWasRemoved) {
    TerminalProcess channel(velmctlCommand(to({"channel", "CIM_ComputerSystem", "--session", "77"})));
    ASSERT_TRUE(channel.waitFor("Ctrl-C ends"));
    EXPECT_THAT(status().output, ContainsRegex("/77 channel +.*new"));
    channel.typeControlC();
    EXPECT_EQ(channel.wait(), 0);
    EXPECT_TRUE(holdsInTime([&] { return status().output.find("REMOVED") != std::string::npos; }));
    EXPECT_THAT(status().output, ContainsRegex("/77 channel +(now|[0-9]+ s ago) "));
}

TEST_F(Status, PassesOnTheDocument_WhenJSONIsWanted) {
    const RefusingPort port;
    failAt(port);
    const ProgramResult result = status({"--json"});
    EXPECT_EQ(result.exitCode, 0);
    const auto lines = jsonLines(result.output);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].at("subscribers").at(0).at("port"), boost::json::value(port.port()));
    EXPECT_EQ(lines[0].at("subscribers").at(0).at("isFailing"), true);
}

TEST_F(Status, IsDrawnAgainAndAgain_UntilControlC) {
    TerminalProcess screen(velmctlCommand(to({"status", "--watch"})), 80);
    ASSERT_TRUE(screen.waitFor("Nobody is subscribed.")) << screen.screen();
    subscribe("127.0.0.1:9");
    EXPECT_TRUE(screen.waitFor("127.0.0.1:9/1")) << screen.screen();
    EXPECT_THAT(screen.screen(), HasSubstr("\x1b[H"));
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
}

TEST_F(Status, WaitsForADaemonThatIsGone_WhileItWatches) {
    TerminalProcess screen(velmctlCommand(to({"status", "--watch"})), 80);
    ASSERT_TRUE(screen.waitFor("ready")) << screen.screen();
    velmd.kill();
    EXPECT_TRUE(screen.waitFor("The daemon is gone: nobody listens on " + server())) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
}

TEST_F(Status, IsADocumentALine_WhenItIsWatchedByAProgram) {
    ProgramProcess watching(velmctlCommand(to({"status", "--watch", "--json"})));
    ASSERT_TRUE(holdsInTime([&] {
        const std::string log = watching.log();
        return std::count(log.begin(), log.end(), '\n') >= 2;
    }));
    watching.signal(SIGINT);
    EXPECT_EQ(watching.wait(), 0);
    for (const auto& line : jsonLines(watching.log())) {
        EXPECT_TRUE(line.contains("version"));
    }
    EXPECT_THAT(watching.log(), Not(HasSubstr("\x1b")));
}

TEST(StatusOfNobody, IsToldHowToStartADaemon) {
    const RefusingPort port;
    for (const char* command : {"status", "dump"}) {
        const ProgramResult result = runVelmctl({command, "--server", "127.0.0.1:" + port.port()});
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_THAT(unwrapped(result.output),
                    HasSubstr("Start the daemon: systemctl start velmd, or velmd --port " + port.port()));
    }
    EXPECT_EQ(runVelmctl({"status", "nobody"}).exitCode, 2);
}
