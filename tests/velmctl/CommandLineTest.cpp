// What velmctl makes of words.

#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(CommandLine, SuggestsTheNearestWord) {
    const struct {
        Words words;
        const char* told;
    } cases[] = {
        {{"lisen"}, "there is no command 'lisen'; did you mean 'listen'?"},
        {{"ping-listner", "x"}, "did you mean 'ping-listener'?"},
        {{"listen", "--cuont", "1"}, "there is no option '--cuont'; did you mean '--count'?"},
        {{"instances", "--nmaes"}, "did you mean '--names'?"},
        {{"--sever", "x", "classes"}, "did you mean '--server'?"},
        {{"listen", "-e", "chnage"}, "did you mean 'Change'?"},
        {{"completion", "bsh"}, "did you mean 'bash'?"},
        {{"stauts"}, "did you mean 'status'?"},
        {{"status", "--wacht"}, "did you mean '--watch'?"},
    };
    for (const auto& [words, told] : cases) {
        const ProgramResult result = runVelmctl(words);
        EXPECT_EQ(result.exitCode, 2) << result.output;
        EXPECT_THAT(unwrapped(result.output),
                    AllOf(StartsWith("velmctl: "), HasSubstr(told), HasSubstr("--help shows")));
    }
}

TEST(CommandLine, SuggestsNothing_WhenNothingIsNear) {
    const ProgramResult result = runVelmctl({"xyzzy"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("there is no command 'xyzzy'."), Not(HasSubstr("did you mean"))));
}

TEST(CommandLine, IsRefusedInJSON_WhenJSONIsWanted) {
    for (const Words& words : {Words{"--json", "lisen"}, Words{"listen", "--json", "--cuont", "1"},
                               Words{"listen", "--port", "x", "--json"}, Words{"instances", "--json"}}) {
        const ProgramResult result = runVelmctl(words);
        EXPECT_EQ(result.exitCode, 2);
        const auto lines = jsonLines(result.output);
        ASSERT_EQ(lines.size(), 1U) << result.output;
        EXPECT_TRUE(lines[0].contains("error"));
        EXPECT_EQ(lines[0].at("exitCode"), 2);
    }
}

TEST(CommandLine, TellsWhatIsMissing) {
    EXPECT_THAT(runVelmctl({}).output, HasSubstr("no command was given; there are status, listen, channel,"));
    EXPECT_THAT(runVelmctl({"instances"}).output, HasSubstr("CLASS is required"));
    EXPECT_THAT(runVelmctl({"subscribe", "CIM_DataFile"}).output, HasSubstr("--to is required"));
    EXPECT_THAT(runVelmctl({"listen", "--count"}).output, HasSubstr("velmctl: --count needs a value. "));
    EXPECT_THAT(runVelmctl({"listen", "-e"}).output, HasSubstr("velmctl: --event needs a value. "));
    EXPECT_THAT(runVelmctl({"listen", "-e", "addition"}).output, HasSubstr("need --end-one and --end-two"));
    EXPECT_THAT(runVelmctl({"ping-listener", "localhost"}).output, HasSubstr("'localhost' is not HOST:PORT"));
}

TEST(CommandLine, HelpsWithEveryCommand) {
    const ProgramResult help = runVelmctl({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* command :
         {"status", "listen", "channel", "subscribe", "unsubscribe", "emit", "ping-listener", "classes",
          "instances", "import", "dump", "log", "completion"}) {
        EXPECT_THAT(help.output, HasSubstr(command));
        const ProgramResult result = runVelmctl({command, "--help"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.output, HasSubstr("--json"));
    }
    EXPECT_THAT(runVelmctl({"--version"}).output, StartsWith("velmctl "));
}

TEST(CommandLine, SetsHelpAndErrorsAsWideAsTheTerminal) {
    const struct {
        unsigned short terminal;
        std::size_t least;
        std::size_t most;
    } cases[] = {{60, 50, 60}, {80, 70, 80}, {90, 80, 90}, {300, 90, 100}};
    const Words commands[] = {{"--help"},           {"listen", "--help"}, {"subscribe", "--help"},
                              {"status", "--help"}, {"import", "--help"}, {"listen", "-e", "nothing"}};
    for (const auto& [terminal, least, most] : cases) {
        for (const Words& words : commands) {
            TerminalProcess screen(velmctlCommand(words), terminal);
            screen.wait();
            const std::size_t widest = widthOf(screen.screen());
            EXPECT_LE(widest, most) << screen.screen();
            EXPECT_GE(widest, least) << screen.screen();
        }
    }
}

TEST(CommandLine, SetsHelpAndErrorsInEightyColumns_WhereThereIsNoTerminal) {
    EXPECT_LE(widthOf(runVelmctl({"--help"}).output), 80U);
    for (const char* command :
         {"status", "listen", "channel", "subscribe", "unsubscribe", "emit", "ping-listener", "classes",
          "instances", "import", "dump", "log", "completion"}) {
        const ProgramResult help = runVelmctl({command, "--help"});
        EXPECT_LE(widthOf(help.output), 80U) << help.output;
    }
    EXPECT_LE(widthOf(runVelmctl({"listen", "-e", "nothing"}).output), 80U);
    EXPECT_GT(widthOf(runVelmctl({"listen", "-e", "nothing", "--json"}).output), 80U);
}

TEST(CommandLine, FailsWhereResultsCannotBeWritten) {
    const std::string velmctl = VELM_TEST_VELMCTL;
    for (const char* rest : {" --help >/dev/full", " completion bash >/dev/full", " completion zsh >&-"}) {
        const ProgramResult result = runProgram({"/usr/bin/bash", "-c", velmctl + rest});
        EXPECT_EQ(result.exitCode, 1) << rest;
        EXPECT_THAT(unwrapped(result.output), StartsWith("velmctl: cannot write to standard output: "));
    }
    const ProgramResult enough =
        runProgram({"/usr/bin/bash", "-c", velmctl + " --help | true; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(enough.output, "0\n");
}
