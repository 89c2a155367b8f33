// velmctl dump: the library's tables, read.

#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

class Dump : public Velmctl {
protected:
    void subscribe(const Words& words) const {
        Words command{"subscribe", "--to", "127.0.0.1:9"};
        command.insert(command.end(), words.begin(), words.end());
        const ProgramResult result = runVelmctl(to(command));
        ASSERT_EQ(result.exitCode, 0) << result.output;
    }

    ProgramResult dump(Words words = {}) const {
        words.insert(words.begin(), "dump");
        return runVelmctl(to(words));
    }
};

}  // namespace

TEST_F(Dump, ShowsBothTables) {
    subscribe({"-e", "change", "--property", "FileSize", "CIM_DataFile"});
    subscribe({"-e", "addition", "CIM_DirectoryContainsFile", "--end-one", "CIM_Directory", "--end-two",
               "CIM_DataFile"});
    TerminalProcess screen(velmctlCommand(to({"dump"})));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(),
                ContainsRegex("CIM_DataFile +127.0.0.1:9 \\(1\\) +Change: \\[FileSize\\] R: 0\n"));
    EXPECT_THAT(screen.screen(), ContainsRegex("CIM_DirectoryContainsFile +Add Assoc +CIM_Directory - "
                                               "CIM_DataFile +127.0.0.1:9 \\(1\\) +1\n"));
    EXPECT_THAT(screen.screen(), Not(HasSubstr("<T")));
}

TEST_F(Dump, IsAnObjectForEachRow_WhenJSONIsWanted) {
    subscribe({"-e", "removal", "--end-one", "CIM_Directory", "--end-two", "CIM_DataFile"});
    const ProgramResult result = dump({"--json"});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    bool isThere = false;
    for (const auto& line : jsonLines(result.output)) {
        isThere = isThere || (line.at("table") == "relationships" && line.at("left") == "CIM_Directory" &&
                              line.at("subscriber") == "127.0.0.1:9 (1)");
    }
    EXPECT_TRUE(isThere) << result.output;
}

TEST_F(Dump, SaysThatNobodyIsSubscribed) {
    EXPECT_EQ(dump().output, "Nobody is subscribed.\n");
    EXPECT_EQ(dump({"--json"}).output, R"({"subscriptions":[],"relationships":[]})"
                                       "\n");
}

TEST_F(Dump, IsAsTheDaemonWritesIt_WhenHTMLIsWanted) {
    EXPECT_THAT(dump({"--html"}).output,
                HasSubstr("<TABLE BORDER><TR><TH>Instance Name</TH><TH>Subscriber</TH><TH>Filter</TH></TR>"));
    EXPECT_EQ(jsonLines(dump({"--html", "--json"}).output).size(), 1U);
}

TEST_F(Dump, TakesNamesThatLookLikeTables_AndMoveNoCursor) {
    const std::string path = R"(root/kob/talmora:CIM_ComputerSystem.CreationClassName="CIM_ComputerSystem",)"
                             "Name=\"</TD></TR><TR><TD>\xC2\x9B"
                             "2J" +
                             std::string(100, 'x') + "\"";
    subscribe({"-e", "change", "--instance", path});
    TerminalProcess screen(velmctlCommand(to({"dump"})));
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), AllOf(HasSubstr("\\x9b2J" + std::string(100, 'x')),
                                       HasSubstr("</TD></TR><TR><TD>"), Not(HasSubstr("\xC2\x9B"))));
}

TEST_F(Dump, SaysThatTheSecondTableEndsEarly) {
    subscribe({"-e", "destruction", "CIM_ComputerSystem"});
    const ProgramResult result = dump();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("second table ends early"));
}
