// What velmctl makes of words, and the completion scripts in real shells.

#include "tests/velmctl/VelmctlSupport.h"

#include <filesystem>

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// What bash offers for the last of `words`, with the script that velmctl prints.
std::string complete(const std::string& words) {
    const std::string script = "source <(" VELM_TEST_VELMCTL
                               " completion bash)\n"
                               "complete -p velmctl >/dev/null || exit 1\n"
                               "COMP_WORDS=(" +
                               words +
                               ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                               "_velmctl\necho \"${COMPREPLY[*]}\"\n";
    return runProgram({"/usr/bin/bash", "-uc", script}).output;
}

}  // namespace

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
        EXPECT_THAT(result.output,
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

TEST(Completion, IsGoodBash) {
    EXPECT_EQ(
        runProgram({"/usr/bin/bash", "-c", "bash -n <(" VELM_TEST_VELMCTL " completion bash)"}).exitCode, 0);
    EXPECT_EQ(complete("velmctl lis"), "listen\n");
    EXPECT_EQ(complete("velmctl emit m"), "modify\n");
    EXPECT_EQ(complete("velmctl listen --hea"), "--heartbeat\n");
    EXPECT_EQ(complete("velmctl listen -e Cr"), "Creation\n");
    EXPECT_EQ(complete("velmctl listen --port ''"), "\n");
    EXPECT_EQ(complete("velmctl log ta"), "tail\n");
    EXPECT_THAT(complete("velmctl import /etc/pass"), HasSubstr("/etc/passwd"));
    EXPECT_EQ(complete("velmctl import --rep"), "--replace\n");
    EXPECT_EQ(complete("velmctl --server 127.0.0.1 cl"), "classes\n");
    EXPECT_THAT(complete("velmctl ''"), AllOf(HasSubstr("subscribe"), HasSubstr("completion")));
}

TEST(Completion, IsGoodZsh) {
    const char* zsh = "/usr/bin/zsh";
    if (!std::filesystem::exists(zsh)) {
        GTEST_SKIP() << "there is no " << zsh;
    }
    EXPECT_EQ(runProgram({zsh, "-c", "zsh -n <(" VELM_TEST_VELMCTL " completion zsh)"}).exitCode, 0);
    const ProgramResult loaded =
        runProgram({zsh, "-fc",
                    "autoload -U compinit; compinit -D; source <(" VELM_TEST_VELMCTL " completion zsh); "
                    "echo $_comps[velmctl]"});
    EXPECT_EQ(loaded.output, "_velmctl\n");
}
