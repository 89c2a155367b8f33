// The completion scripts in interactive shells: keys are typed, and a key shows what has become of the line.

#include "tests/velmctl/VelmctlSupport.h"

#include <filesystem>
#include <optional>

#include <gmock/gmock.h>

using namespace velm::test;

namespace {

struct Shell {
    const char* name;
    Words command;
    /// Loads the script from the file %, and binds Ctrl-X to showing the line in angle brackets and emptying
    /// it.
    const char* preparation;
    /// What stands behind a long option that takes a value.
    const char* mark;
};

const Shell shells[] = {
    {"bash",
     {"/usr/bin/bash", "--norc", "--noprofile", "-i"},
     R"(bind 'set bell-style none'; bind 'set show-all-if-ambiguous off'; source %/script
show() { echo "<$READLINE_LINE>"; READLINE_LINE=; }; bind -x '"\C-x": show')",
     " "},
    {"zsh",
     {"/usr/bin/zsh", "-f", "-i"},
     R"(unsetopt beep; autoload -Uz compinit; compinit -D -u; source %/script
show() { print -r -- "<$BUFFER>"; BUFFER= }; zle -N show; bindkey -r '^X'; bindkey '^X' show; KEYTIMEOUT=1)",
     "="},
};

class CompletionIn : public testing::TestWithParam<Shell> {
protected:
    void SetUp() override {
        const Shell& shell = GetParam();
        if (!std::filesystem::exists(shell.command[0])) {
            GTEST_SKIP() << "there is no " << shell.command[0]
                         << "; scripts/install-dependencies installs it";
        }
        const ProgramResult script = runVelmctl({"completion", shell.name});
        ASSERT_EQ(script.exitCode, 0) << script.output;
        directory.write("script", script.output);
        directory.write("my schema.xml", "");
        directory.write("other.mof", "");
        std::string preparation = shell.preparation;
        for (auto at = preparation.find('%'); at != std::string::npos; at = preparation.find('%')) {
            preparation.replace(at, 1, directory.path().string());
        }
        Words command{"/usr/bin/env", "-C", directory.path().string(), "PS1=", "HISTFILE="};
        command.insert(command.end(), shell.command.begin(), shell.command.end());
        terminal.emplace(command);
        terminal->type(preparation + "; echo rea''dy\n");
        ASSERT_TRUE(terminal->waitFor("ready\n")) << terminal->screen();
    }

    /// What becomes of the line when the tabulator is pressed behind it.
    std::string completed(const std::string& line) {
        const std::size_t before = terminal->screen().size();
        terminal->type(line + "\t\x18");
        std::string screen;
        const auto shown = [&] {
            screen = terminal->screen().substr(before);
            return screen.find("<velmctl") != std::string::npos &&
                   screen.find('>', screen.find("<velmctl")) != std::string::npos;
        };
        if (!holdsInTime(shown)) {
            return "nothing: " + screen;
        }
        const std::size_t begin = screen.find("<velmctl") + 1;
        return screen.substr(begin, screen.find('>', begin) - begin);
    }

    TemporaryDirectory directory;
    std::optional<TerminalProcess> terminal;
};

}  // namespace

TEST_P(CompletionIn, CompletesCommandsAndOptions) {
    EXPECT_EQ(completed("velmctl lis"), "velmctl listen ");
    EXPECT_EQ(completed("velmctl --vers"), "velmctl --version ");
    EXPECT_EQ(completed("velmctl listen --hea"), "velmctl listen --heartbeat" + std::string(GetParam().mark));
    EXPECT_EQ(completed("velmctl --json status --wa"), "velmctl --json status --watch ");
    EXPECT_EQ(completed("velmctl --server 127.0.0.1:5988 cla"), "velmctl --server 127.0.0.1:5988 classes ");
    EXPECT_EQ(completed("velmctl log tail --fo"), "velmctl log tail --follow ");
    EXPECT_EQ(completed("velmctl listen CIM_DataFile CIM_System --hea"),
              "velmctl listen CIM_DataFile CIM_System --heartbeat" + std::string(GetParam().mark));
    EXPECT_EQ(completed("velmctl emit create CIM_System Name=x --nu"),
              "velmctl emit create CIM_System Name=x --null" + std::string(GetParam().mark));
}

TEST_P(CompletionIn, CompletesValues) {
    EXPECT_EQ(completed("velmctl emit m"), "velmctl emit modify ");
    EXPECT_EQ(completed("velmctl log --lines 3 ta"), "velmctl log --lines 3 tail ");
    EXPECT_EQ(completed("velmctl completion z"), "velmctl completion zsh ");
    EXPECT_EQ(completed("velmctl listen -e cr"), "velmctl listen -e creation ");
    EXPECT_EQ(completed("velmctl listen -e change --event des"),
              "velmctl listen -e change --event destruction ");
    EXPECT_EQ(completed("velmctl listen --event=leaveR"), "velmctl listen --event=leaveRelationship ");
}

TEST_P(CompletionIn, CompletesFiles_WhateverTheyAreCalled) {
    EXPECT_EQ(completed("velmctl import my"), R"(velmctl import my\ schema.xml )");
    EXPECT_EQ(completed("velmctl import other.mof my"), R"(velmctl import other.mof my\ schema.xml )");
    EXPECT_EQ(completed("velmctl import --repl"), "velmctl import --replace ");
}

TEST_P(CompletionIn, AddsNothing_WhereNothingFits) {
    EXPECT_EQ(completed("velmctl xyzzy"), "velmctl xyzzy");
    EXPECT_EQ(completed("velmctl emit create m"), "velmctl emit create m");
    EXPECT_EQ(completed("velmctl listen --port l"), "velmctl listen --port l");
    EXPECT_EQ(completed("velmctl status oth"), "velmctl status oth");
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionIn, testing::ValuesIn(shells),
                         [](const auto& shell) { return std::string(shell.param.name); });

TEST(Completion, IsLoadedByZsh_FromAFolderOfFunctions) {
    const char* zsh = "/usr/bin/zsh";
    if (!std::filesystem::exists(zsh)) {
        GTEST_SKIP() << "there is no " << zsh << "; scripts/install-dependencies installs it";
    }
    const TemporaryDirectory directory;
    directory.write("_velmctl", runVelmctl({"completion", "zsh"}).output);
    const ProgramResult loaded = runProgram({zsh, "-fc",
                                             "fpath=(" + directory.path().string() +
                                                 " $fpath); autoload -U compinit; compinit -D -u; "
                                                 "echo $_comps[velmctl]"});
    EXPECT_EQ(loaded.output, "_velmctl\n");
}
