// velmctl channel, in a terminal, as a person runs it.

#include "tests/velmctl/VelmctlSupport.h"

#include <csignal>
#include <optional>

#include <gmock/gmock.h>

using namespace velm::test;
using testing::HasSubstr;

namespace {

class Channel : public Velmctl {
protected:
    TerminalProcess& start(Words words) {
        words.insert(words.begin(), "channel");
        terminal.emplace(velmctlCommand(to(words)));
        EXPECT_TRUE(terminal->waitFor("Ctrl-C ends")) << terminal->screen();
        return *terminal;
    }

    std::optional<TerminalProcess> terminal;
};

}  // namespace

TEST_F(Channel, PrintsALineForWhatEmitCaused_AndClosesOnControlC) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    createComputer("moon");
    ASSERT_TRUE(screen.waitFor("Name=\"moon\"")) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), HasSubstr("Channel closed after 1 indication."));
}

TEST_F(Channel, EndsAfterTheCount) {
    ProgramProcess channel(velmctlCommand(to({"channel", "CIM_ComputerSystem", "--count", "2", "--json"})));
    ASSERT_TRUE(channel.waitForLog("Ctrl-C ends"));
    createComputer("moon");
    createComputer("mars");
    EXPECT_EQ(channel.wait(), 0);
    ASSERT_TRUE(channel.waitForLog("Channel closed"));
    const auto lines = jsonLines(channel.log());
    ASSERT_EQ(lines.size(), 4U) << channel.log();
    EXPECT_EQ(lines[1].at("event"), "Creation");
    EXPECT_EQ(lines[2].at("event"), "Creation");
}

TEST_F(Channel, SaysThatItBroke_WhenTheDaemonIsKilled) {
    TerminalProcess& screen = start({"CIM_ComputerSystem"});
    velmd.kill();
    EXPECT_EQ(screen.wait(), 6);
    EXPECT_THAT(screen.screen(), HasSubstr("the channel broke after 0 indications: the daemon closed it"));
}

TEST_F(Channel, SaysThatItBroke_WhenTheDaemonHangs) {
    TerminalProcess& screen = start({"CIM_ComputerSystem", "--heartbeat", "1"});
    velmd.signal(SIGSTOP);
    EXPECT_EQ(screen.wait(), 6);
    EXPECT_THAT(screen.screen(), HasSubstr("the daemon takes no heartbeat"));
    velmd.signal(SIGCONT);
}

TEST_F(Channel, StaysOpenByItsHeartbeats) {
    TemporaryDirectory other;
    const VelmdProcess strict(other.path(), {"--set", "VELM.SubscriberTimeout=3"});
    const std::string address = "127.0.0.1:" + std::to_string(strict.port());
    TerminalProcess screen(
        velmctlCommand({"channel", "CIM_ComputerSystem", "--heartbeat", "1", "--server", address}));
    ASSERT_TRUE(screen.waitFor("Ctrl-C ends"));
    EXPECT_FALSE(screen.waitFor("the channel broke", std::chrono::seconds(5)));
    const ProgramResult created =
        runVelmctl({"emit", "create", "CIM_ComputerSystem", "Name=moon", "--server", address});
    ASSERT_EQ(created.exitCode, 0) << created.output;
    EXPECT_TRUE(screen.waitFor("Name=\"moon\"")) << screen.screen();
}
