// What velmctl says when the daemon is not there, not a daemon, or says no; and what it reads from one.

#include "tests/support/ScriptedListener.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

ProgramResult askAt(const std::string& server) {
    return runVelmctl({"classes", "--server", server});
}

}  // namespace

TEST(NoDaemon, IsToldHowToStartOne) {
    const RefusingPort port;
    for (const char* command : {"classes", "listen", "channel"}) {
        const ProgramResult result = runVelmctl({command, "--server", "127.0.0.1:" + port.port()});
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_EQ(unwrapped(result.output),
                  "velmctl: nobody listens on 127.0.0.1:" + port.port() +
                      ". Start the daemon: systemctl start velmd, or velmd --port " + port.port() +
                      ". Or name another with --server HOST:PORT\n");
    }
}

TEST(NoDaemon, IsTold_WhenTheHostDoesNotResolve) {
    for (const Words& words : {Words{"classes"}, Words{"status"}, Words{"log", "tail"}}) {
        Words command = words;
        command.insert(command.end(), {"--server", "no-such-host.invalid"});
        const ProgramResult result = runVelmctl(command);
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_THAT(result.output, HasSubstr("the host 'no-such-host.invalid' does not resolve"));
    }
}

TEST(NoDaemon, IsTold_WhenTheHostIsAnotherMachine) {
    const ProgramResult result = askAt("192.0.2.1:5988");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(unwrapped(result.output), HasSubstr("this machine only"));
}

TEST(NoDaemon, IsTold_WhenSomethingElseListensThere) {
    for (const std::string& bytes :
         {std::string("SSH-2.0-OpenSSH\r\n"), httpResponse("", "HTTP/1.1 404 Not Found"),
          httpResponse("hello"), httpResponse("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>")}) {
        const ScriptedListener other(rawAnswer(bytes));
        const ProgramResult result = askAt("127.0.0.1:" + other.port());
        EXPECT_EQ(result.exitCode, 3) << result.output;
        EXPECT_THAT(unwrapped(result.output), HasSubstr("Name the daemon's port with --server"));
    }
}

TEST(NoDaemon, IsTold_WhenItClosesWithoutAnAnswer) {
    const ScriptedListener other(closingAnswer());
    const ProgramResult result = askAt("127.0.0.1:" + other.port());
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.output, HasSubstr("closed the connection without an answer"));
}

TEST(NoDaemon, IsTold_WhenTheAddressIsNone) {
    const ProgramResult result = askAt("127.0.0.1:99999");
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.output, HasSubstr("'127.0.0.1:99999' is not HOST or HOST:PORT"));
}

TEST(NoDaemon, IsAnObjectToo_WhenJSONIsWanted) {
    const RefusingPort port;
    const ProgramResult result = runVelmctl({"classes", "--json", "--server", "127.0.0.1:" + port.port()});
    const auto lines = jsonLines(result.output);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].at("exitCode").as_int64(), 3);
    EXPECT_THAT(std::string(lines[0].at("advice").as_string()), StartsWith("Start the daemon"));
}

using Reading = Velmctl;

TEST_F(Reading, DrawsTheClassesAsATree) {
    TerminalProcess screen(velmctlCommand(to({"classes", "CIM_LogicalElement"})));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(),
                AllOf(StartsWith("CIM_LogicalElement\n├── CIM_EnabledLogicalElement\n"),
                      HasSubstr("│   │       └── CIM_ComputerSystem\n"),
                      EndsWith("└── CIM_LogicalFile\n    ├── CIM_DataFile\n    └── CIM_Directory\n")));
}

TEST_F(Reading, AsksTheServerOfTheEnvironment_UnlessAnotherIsNamed) {
    const auto ask = [](const std::string& variable, Words words) {
        Words command{"/usr/bin/env", "VELMCTL_SERVER=" + variable};
        for (const std::string& word : velmctlCommand(words)) {
            command.push_back(word);
        }
        return runProgram(command).exitCode;
    };
    const RefusingPort refusing;
    const std::string nobody = "127.0.0.1:" + refusing.port();
    EXPECT_EQ(ask(server(), {"classes"}), 0);
    EXPECT_EQ(ask(nobody, {"classes"}), 3);
    EXPECT_EQ(ask(nobody, {"classes", "--server", server()}), 0);
    EXPECT_EQ(ask(nobody, {"--server", server(), "classes"}), 0);
}

TEST_F(Reading, DrawsTheTreeInASCII_WhereThereIsNothingElse) {
    Words command{"/usr/bin/env", "LC_ALL=C"};
    for (const std::string& word : velmctlCommand(to({"classes", "CIM_LogicalFile"}))) {
        command.push_back(word);
    }
    EXPECT_EQ(runProgram(command).output, "CIM_LogicalFile\n|-- CIM_DataFile\n`-- CIM_Directory\n");
}

TEST_F(Reading, WritesTheClassesAsJSON) {
    const ProgramResult result = runVelmctl(to({"classes", "--json"}));
    bool isThere = false;
    for (const auto& line : jsonLines(result.output)) {
        isThere =
            isThere || (line.at("class") == "CIM_DataFile" && line.at("superClass") == "CIM_LogicalFile");
    }
    EXPECT_TRUE(isThere) << result.output;
}

TEST_F(Reading, ShowsInstancesAndTheirNames) {
    createComputer("moon");
    const std::string path =
        R"(root/kob/talmora:CIM_ComputerSystem.CreationClassName="CIM_ComputerSystem",Name="moon")";
    EXPECT_EQ(runVelmctl(to({"instances", "CIM_System", "--names"})).output, path + "\n");
    EXPECT_THAT(runVelmctl(to({"instances", "CIM_System"})).output,
                AllOf(StartsWith(path + "\n"), HasSubstr("Name "), HasSubstr("= moon\n")));
    EXPECT_EQ(
        jsonLines(runVelmctl(to({"instances", "CIM_System", "--names", "--json"})).output).at(0).at("path"),
        boost::json::value(path));
}

TEST_F(Reading, SaysThatThereAreNoInstances) {
    EXPECT_EQ(runVelmctl(to({"instances", "CIM_DataFile"})).output,
              "There are no instances of CIM_DataFile.\n");
    EXPECT_EQ(runVelmctl(to({"instances", "CIM_DataFile", "--json"})).output, "");
}

TEST_F(Reading, SaysWhatToDo_WhateverTheDaemonRefuses) {
    createComputer("moon");
    const struct {
        Words words;
        const char* advice;
    } cases[] = {
        {{"emit", "create", "CIM_ComputerSystem", "Name=moon"}, ". velmctl emit modify changes"},
        {{"emit", "delete", "CIM_ComputerSystem", "Name=sun"}, ". velmctl instances CLASS --names"},
        {{"emit", "create", "CIM_ManagedElement", "Caption=x"}, ". velmctl COMMAND --help"},
        {{"emit", "create", "CIM_ComputerSytem", "Name=x"}, ". velmctl classes shows"},
        {{"listen", "CIM_DataFile", "--property", "Size"}, ". Check the spelling"},
        {{"subscribe", "", "--to", "127.0.0.1:1"}, ". velmctl COMMAND --help"},
    };
    for (const auto& [words, advice] : cases) {
        const ProgramResult result = runVelmctl(to(words));
        EXPECT_EQ(result.exitCode, 4) << result.output;
        EXPECT_THAT(unwrapped(result.output),
                    AllOf(StartsWith("velmctl: the server refused: CIM status "), HasSubstr(advice)));
    }
}

TEST_F(Reading, PassesOnWhatTheDaemonRefuses) {
    const ProgramResult result = runVelmctl(to({"instances", "EX_None"}));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(unwrapped(result.output), StartsWith("velmctl: the server refused: CIM status 5 "
                                                     "(CIM_ERR_INVALID_CLASS): there is no class 'EX_None'"));
    const ProgramResult other = runVelmctl(to({"classes", "--namespace", "root/none"}));
    EXPECT_EQ(other.exitCode, 4);
    EXPECT_THAT(other.output, HasSubstr("CIM_ERR_INVALID_NAMESPACE"));
}

TEST_F(Reading, SubscribesForAListenerOnAnUnknownHost_AndSaysSo) {
    const Words where{"CIM_ComputerSystem", "--to", "no-such-host.invalid:5990"};
    Words words{"subscribe"};
    words.insert(words.end(), where.begin(), where.end());
    const ProgramResult result = runVelmctl(to(words));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(unwrapped(result.output),
                AllOf(HasSubstr("subscribed no-such-host.invalid:5990 session 1: 2 subscriptions\n"),
                      HasSubstr("But the host 'no-such-host.invalid' does not resolve to an address: the "
                                "daemon removes such a subscriber with its first indication.\n")));
}

TEST_F(Reading, SubscribesForAListener_AndTakesItBack) {
    const ScriptedListener listener;
    const Words where{"CIM_ComputerSystem", "--to", "127.0.0.1:" + listener.port(), "--session", "3"};
    const auto with = [&](const char* command) {
        Words words{command};
        words.insert(words.end(), where.begin(), where.end());
        return runVelmctl(to(words));
    };
    const ProgramResult subscribed = with("subscribe");
    ASSERT_EQ(subscribed.exitCode, 0) << subscribed.output;
    EXPECT_EQ(subscribed.output, "subscribed 127.0.0.1:" + listener.port() + " session 3: 2 subscriptions\n");
    createComputer("moon");
    EXPECT_TRUE(listener.waitForRequests(1));
    EXPECT_EQ(with("unsubscribe").exitCode, 0);
    const ProgramResult again = with("unsubscribe");
    EXPECT_EQ(again.exitCode, 4);
    EXPECT_THAT(again.output, HasSubstr("the daemon has no such subscription"));
}
