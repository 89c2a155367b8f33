// velmctl listen, in a terminal, as a person runs it.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <csignal>
#include <optional>
#include <regex>

#include <gmock/gmock.h>

using namespace velm::test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

class Listen : public Velmctl {
protected:
    TerminalProcess& start(Words words) {
        words.insert(words.begin(), "listen");
        terminal.emplace(velmctlCommand(to(words)));
        EXPECT_TRUE(terminal->waitFor("Ctrl-C ends")) << terminal->screen();
        return *terminal;
    }

    /// The port on which it said that it listens.
    std::string port() const {
        const std::string lead = "Listening on 127.0.0.1:";
        const std::string screen = terminal->screen();
        const std::size_t at = screen.find(lead) + lead.size();
        return screen.substr(at, screen.find(',', at) - at);
    }

    std::optional<TerminalProcess> terminal;
};

constexpr const char* moonPath =
    R"(root/kob/talmora:CIM_ComputerSystem.CreationClassName="CIM_ComputerSystem",Name="moon")";

}  // namespace

TEST_F(Listen, PrintsALineForWhatEmitCaused_AndUnsubscribesOnControlC) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    createComputer("moon");
    ASSERT_TRUE(screen.waitFor(moonPath)) << screen.screen();
    EXPECT_THAT(screen.screen(), ContainsRegex("[0-9.]+ s.*Creation.*CIM_ComputerSystem .*moon"));
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Unsubscribed after 1 indication."));
}

TEST_F(Listen, LeavesNoSubscriptionBehind) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--session", "7"});
    const std::string listener = "127.0.0.1:" + port();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    const ProgramResult result =
        runVelmctl(to({"unsubscribe", "CIM_ComputerSystem", "--to", listener, "--session", "7"}));
    EXPECT_EQ(result.exitCode, 4) << result.output;
}

TEST_F(Listen, HearsOfEveryClass_WhenNoneIsNamed) {
    TerminalProcess& screen = start({});
    createComputer("moon");
    EXPECT_TRUE(screen.waitFor(moonPath));
    ASSERT_EQ(runVelmctl(to({"emit", "modify", "CIM_ComputerSystem", "Name=moon", "Caption=full"})).exitCode,
              0);
    EXPECT_TRUE(screen.waitFor("(Caption)")) << screen.screen();
    ASSERT_EQ(runVelmctl(to({"emit", "delete", "CIM_ComputerSystem", "Name=moon"})).exitCode, 0);
    EXPECT_TRUE(screen.waitFor("Destruction")) << screen.screen();
}

TEST_F(Listen, ShowsOnlyTheEventsThatWereNamed) {
    TerminalProcess& screen = start({"-e", "destruction", "CIM_ComputerSystem"});
    createComputer("moon");
    ASSERT_EQ(runVelmctl(to({"emit", "delete", "CIM_ComputerSystem", "Name=moon"})).exitCode, 0);
    ASSERT_TRUE(screen.waitFor("Destruction")) << screen.screen();
    EXPECT_THAT(screen.screen(), Not(HasSubstr("Creation ")));
}

TEST_F(Listen, EndsAfterTheCount) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--count", "2"});
    createComputer("moon");
    createComputer("mars");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Unsubscribed after 2 indications."));
}

TEST_F(Listen, EndsInOrder_WhenItIsTerminated) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    screen.signal(SIGTERM);
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Unsubscribed"));
}

TEST_F(Listen, PrintsTheDocument_WhenXMLIsWanted) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--xml", "--count", "1"});
    createComputer("moon");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("<INSTANCE CLASSNAME=\"CIM_InstCreation\">"));
    EXPECT_THAT(screen.screen(), HasSubstr("</MESSAGE></CIM>\n"));
}

TEST_F(Listen, UsesColoursOnATerminalOnly) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--count", "1"});
    createComputer("moon");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("\x1b[32mCreation"));

    ProgramProcess piped(velmctlCommand(to({"listen", "CIM_ComputerSystem", "--count", "1"})));
    ASSERT_TRUE(piped.waitForLog("Ctrl-C ends"));
    createComputer("mars");
    EXPECT_EQ(piped.wait(), 0);
    EXPECT_TRUE(piped.waitForLog("Unsubscribed"));
    EXPECT_THAT(piped.log(), HasSubstr("Creation"));
    EXPECT_THAT(piped.log(), Not(HasSubstr("\x1b")));
}

TEST_F(Listen, UsesNoColours_WhenTheyAreRefused) {
    Words command{"/usr/bin/env", "NO_COLOR=1"};
    for (const std::string& word : velmctlCommand(to({"listen", "CIM_ComputerSystem", "--count", "1"}))) {
        command.push_back(word);
    }
    TerminalProcess screen(command);
    ASSERT_TRUE(screen.waitFor("Ctrl-C ends"));
    createComputer("moon");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Creation"));
    EXPECT_THAT(screen.screen(), Not(HasSubstr("\x1b")));
}

TEST_F(Listen, KeepsToTheWidthOfTheTerminal) {
    TerminalProcess screen(velmctlCommand(to({"listen", "CIM_ComputerSystem"})), 80);
    ASSERT_TRUE(screen.waitFor("Ctrl-C ends")) << screen.screen();
    createComputer("moon");
    ASSERT_TRUE(
        screen.waitFor("CIM_ComputerSystem\n          root/kob/talmora:CIM_ComputerSystem.\n"
                       "          CreationClassName=\"CIM_ComputerSystem\",Name=\"moon\"\n"))
        << screen.screen();
    ASSERT_EQ(runVelmctl(to({"emit", "modify", "CIM_ComputerSystem", "Name=moon", "Caption=full"})).exitCode,
              0);
    ASSERT_TRUE(screen.waitFor("          \x1b[36m(Caption)")) << screen.screen();
    velmd.kill();
    ASSERT_TRUE(screen.waitFor("Waiting for it to come")) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    const std::string plain = std::regex_replace(screen.screen(), std::regex("\x1b\\[[0-9]*m"), "");
    EXPECT_LE(widthOf(plain), 80U) << plain;
}

TEST_F(Listen, KeepsEachIndicationInOneLine_WhereThereIsNoTerminal) {
    ProgramProcess listen(velmctlCommand(to({"listen", "CIM_ComputerSystem", "--count", "1"})));
    ASSERT_TRUE(listen.waitForLog("Ctrl-C ends"));
    createComputer("moon");
    EXPECT_EQ(listen.wait(), 0);
    ASSERT_TRUE(listen.waitForLog("Unsubscribed"));
    EXPECT_THAT(listen.log(), HasSubstr(std::string("CIM_ComputerSystem          ") + moonPath + "\n"));
}

TEST_F(Listen, EndsPromptly_WhenTheDaemonHangs) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    velmd.signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_THAT(unwrapped(screen.screen()),
                HasSubstr("Could not unsubscribe: " + server() +
                          " did not answer within 2 s; the daemon "
                          "forgets a listener that is not there. Ended after 0 indications.\n"));
    velmd.signal(SIGCONT);
}

TEST_F(Listen, ShowsControlCharactersAsText) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--count", "1"});
    createComputer(
        "a\xC2\x9B"
        "31mb\nc");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr(R"(a\x9b31mb\x0ac)"));
}

TEST_F(Listen, WritesOneObjectALine_WhenJSONIsWanted) {
    ProgramProcess listen(
        velmctlCommand(to({"listen", "CIM_ComputerSystem", "--count", "2", "--json", "--xml"})));
    ASSERT_TRUE(listen.waitForLog("Ctrl-C ends"));
    createComputer("moon");
    ASSERT_EQ(runVelmctl(to({"emit", "modify", "CIM_ComputerSystem", "Name=moon", "Caption=full"})).exitCode,
              0);
    EXPECT_EQ(listen.wait(), 0);
    ASSERT_TRUE(listen.waitForLog("Unsubscribed"));
    const auto lines = jsonLines(listen.log());
    ASSERT_EQ(lines.size(), 4U) << listen.log();
    EXPECT_TRUE(lines[0].contains("notice"));
    EXPECT_EQ(lines[1].at("event"), "Creation");
    EXPECT_EQ(lines[1].at("path"), moonPath);
    EXPECT_EQ(lines[1].at("class"), "CIM_ComputerSystem");
    EXPECT_THAT(std::string(lines[1].at("xml").as_string()), HasSubstr("CIM_InstCreation"));
    EXPECT_LT(lines[1].at("ageMilliseconds").as_int64(), 60000);
    EXPECT_EQ(lines[2].at("event"), "Change");
    EXPECT_EQ(lines[2].at("changed"), boost::json::parse(R"(["Caption"])"));
    EXPECT_TRUE(lines[3].contains("notice"));
}

TEST_F(Listen, Unsubscribes_WhenNobodyReadsAnyMore) {
    const std::string listen =
        std::string(VELM_TEST_VELMCTL) + " listen CIM_ComputerSystem --server " + server();
    ProgramProcess pipeline(
        {"/usr/bin/bash", "-c", listen + " | head -1; echo \"ended with ${PIPESTATUS[0]}\""});
    ASSERT_TRUE(pipeline.waitForLog("Ctrl-C ends"));
    createComputer("moon");
    ASSERT_TRUE(pipeline.waitForLog("Creation"));
    createComputer("mars");
    EXPECT_TRUE(pipeline.waitForLog("Unsubscribed")) << pipeline.log();
    EXPECT_TRUE(pipeline.waitForLog("ended with 0")) << pipeline.log();
}

TEST_F(Listen, SaysThatTheDaemonIsGone_AndEndsWellAllTheSame) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    velmd.kill();
    ASSERT_TRUE(screen.waitFor("The daemon is gone: nobody listens on " + server())) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(unwrapped(screen.screen()),
                HasSubstr("Could not unsubscribe: nobody listens on " + server() +
                          "; the subscriptions went with the daemon. Ended after 0 indications.\n"));
}

TEST_F(Listen, SubscribesAgain_WhenTheDaemonIsBack) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    velmd.kill();
    ASSERT_TRUE(screen.waitFor("The daemon is gone")) << screen.screen();
    const ProgramProcess again({velmdProgram(), "--state-dir", directory.path().string(), "--port",
                                std::to_string(velmd.port()), "--set",
                                "Providers.Directory=" + (directory.path() / "none").string()});
    ASSERT_TRUE(screen.waitFor("is back: subscribed again")) << screen.screen() << again.log();
    createComputer("moon");
    EXPECT_TRUE(screen.waitFor(moonPath)) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Unsubscribed after 1 indication."));
}

TEST_F(Listen, NoticesADaemonThatHangs) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--heartbeat", "1"});
    velmd.signal(SIGSTOP);
    EXPECT_TRUE(screen.waitFor("did not answer within 2 s")) << screen.screen();
    velmd.signal(SIGCONT);
    ASSERT_TRUE(screen.waitFor("it still has the subscriptions")) << screen.screen();
    createComputer("moon");
    EXPECT_TRUE(screen.waitFor(moonPath)) << screen.screen();
}

TEST_F(Listen, NamesThePort_WhenItIsInUse) {
    const ScriptedListener taken;
    TerminalProcess screen(velmctlCommand(to({"listen", "CIM_ComputerSystem", "--port", taken.port()})));
    EXPECT_EQ(screen.wait(), 5);
    EXPECT_EQ(unwrapped(screen.screen()),
              "velmctl: cannot listen on 127.0.0.1:" + taken.port() +
                  ": Address already in use. Choose another with --address and --port; --port 0 "
                  "is a free one\n");
}

TEST_F(Listen, RefusesAnAddressOfAnotherMachine) {
    const ProgramResult result = runVelmctl(to({"listen", "--address", "0.0.0.0"}));
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.output, HasSubstr("'0.0.0.0' is not this machine"));
}

TEST(ListenAtTheDaemonsPort, IsRefused) {
    const RefusingPort port;
    const std::string address = "127.0.0.1:" + port.port();
    for (const std::string& server : {address, "localhost:" + port.port()}) {
        const ProgramResult result = runVelmctl({"listen", "--port", port.port(), "--server", server});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(unwrapped(result.output),
                    HasSubstr(server + " is the daemon's own address; give the listener another --port"));
    }
}

TEST_F(Listen, RefusesNumbersThatMakeNoSense) {
    const struct {
        Words words;
        const char* told;
    } cases[] = {
        {{"--port", "70000"}, "--port: '70000' is no number from 0 to 65535"},
        {{"--count", "0"}, "--count: '0' is no number from 1 on"},
        {{"--count", "-1"}, "--count: '-1' is no number from 1 on"},
        {{"--heartbeat", "soon"}, "--heartbeat: 'soon' is no number from 1 to 86400"},
        {{"--session", "4294967296"}, "--session: '4294967296' is no number from 0 to 4294967295"},
    };
    for (const auto& [words, told] : cases) {
        Words command{"listen"};
        command.insert(command.end(), words.begin(), words.end());
        const ProgramResult result = runVelmctl(to(command));
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.output, HasSubstr(told));
    }
}

TEST_F(Listen, TellsWhatAPathIs_WhenAnInstanceIsNone) {
    for (const char* path : {"bla", "CIM_ComputerSystem.Name"}) {
        const ProgramResult result = runVelmctl(to({"listen", "--instance", path}));
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.output, HasSubstr(R"(a path is NS:CLASS.KEY="VALUE")"));
    }
}

TEST_F(Listen, TellsWhatTheDaemonRefuses_AndLeavesNothingBehind) {
    const ProgramResult result = runVelmctl(to({"listen", "CIM_ComputerSystem", "EX_None"}));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.output, HasSubstr("CIM status 5 (CIM_ERR_INVALID_CLASS)"));
}
