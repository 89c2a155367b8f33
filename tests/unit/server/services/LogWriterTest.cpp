#include "server/services/LogWriter.h"

#include "tests/unit/server/services/TemporaryFolder.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

LogRepeats::Time fakeNow;

LogRepeats::Time fakeClock() {
    return fakeNow;
}

class LogWriterTest : public testing::Test {
protected:
    LogWriterTest() {
        fakeNow = {};
        EXPECT_TRUE(writer.open(path(), 1'000'000, 2));
    }

    ORVString path() const { return std::string_view(folder.file("velm.log")); }
    std::vector<std::string> lines() const { return folder.lines("velm.log"); }
    void write(const ORVString& message) {
        writer.write("Who::does", message, OrvoTraceLog::SeverityInformation);
    }

    test::TemporaryFolder folder;
    LogWriter writer{&fakeClock};
};

TEST_F(LogWriterTest, WritesTimeSeverityThreadComponentAndMessage) {
    write("it happened");
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_THAT(lines()[0],
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                             "[+-][0-9]{2}:[0-9]{2} \\[info\\] \\[[0-9]+\\] Who::does: it happened"));
}

TEST_F(LogWriterTest, NamesTheSeverity) {
    const std::vector<std::pair<int, std::string>> names{{0, "[error]"}, {1, "[error]"}, {2, "[warning]"},
                                                         {3, "[info]"},  {4, "[debug]"}, {5, "[debug]"}};
    for (const auto& [severity, name] : names) {
        writer.write("c", std::string_view(std::to_string(severity)),
                     static_cast<OrvoTraceLog::Severity>(severity));
        EXPECT_THAT(lines().back(), testing::HasSubstr(name));
    }
}

TEST_F(LogWriterTest, WritesCount_WhenTheWindowHasEnded) {
    write("again");
    write("again");
    write("again");
    EXPECT_EQ(lines().size(), 1u);
    fakeNow += LogRepeats::window;
    write("again");
    EXPECT_THAT(lines(),
                ElementsAre(EndsWith("Who::does: again"), EndsWith("Who::does: again (2 more times)"),
                            EndsWith("Who::does: again")));
}

TEST_F(LogWriterTest, WritesCount_WhenFlushed) {
    write("again");
    write("again");
    writer.flush();
    writer.flush();
    EXPECT_THAT(lines(), ElementsAre(EndsWith("again"), EndsWith("again (1 more time)")));
}

TEST_F(LogWriterTest, WritesCountAndStartsAfresh_WhenAnotherFileIsOpened) {
    write("again");
    write("again");
    ASSERT_TRUE(writer.open(std::string_view(folder.file("next.log")), 1000, 1));
    write("again");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("again"), EndsWith("again (1 more time)")));
    EXPECT_THAT(folder.lines("next.log"), ElementsAre(EndsWith("Who::does: again")));
}

TEST_F(LogWriterTest, KeepsOneLine_WhenAMessageHoldsLineEnds) {
    writer.write("evil\nhost", "a\r\n2026-11-20T00:00:00.000+00:00 [error] forged",
                 OrvoTraceLog::SeverityError);
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_THAT(lines()[0], EndsWith("evil\\nhost: a\\r\\n2026-11-20T00:00:00.000+00:00 [error] forged"));
}

TEST_F(LogWriterTest, TakesTextAsItIs_WhenItLooksLikeAFormat) {
    write("{} {0} %s %v {");
    EXPECT_THAT(lines()[0], EndsWith("{} {0} %s %v {"));
}

TEST_F(LogWriterTest, CutsMessage_WhenItIsTooLong) {
    const std::string longText(LogWriter::maxMessageBytes + 7, 'x');
    write(std::string_view(longText));
    EXPECT_THAT(lines()[0], EndsWith("xxx ... (7 more bytes)"));
    EXPECT_LT(lines()[0].size(), LogWriter::maxMessageBytes + 200);
    const std::string fits(LogWriter::maxMessageBytes, 'y');
    write(std::string_view(fits));
    EXPECT_THAT(lines()[1], EndsWith(": " + fits));
}

TEST_F(LogWriterTest, Rotates_WhenTheFileIsFull) {
    ASSERT_TRUE(writer.open(std::string_view(folder.file("small.log")), 1000, 2));
    for (int i = 0; i < 100; ++i) {
        write(std::string_view("line " + std::to_string(i)));
    }
    for (const char* name : {"small.log", "small.1.log", "small.2.log"}) {
        ASSERT_TRUE(std::filesystem::exists(folder.file(name))) << name;
        EXPECT_LE(std::filesystem::file_size(folder.file(name)), 1000u) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("small.3.log")));
    EXPECT_THAT(folder.lines("small.log").back(), EndsWith("line 99"));
}

TEST_F(LogWriterTest, StaysWhereItWas_WhenTheFileCannotBeOpened) {
    folder.write("plain", "");
    EXPECT_FALSE(writer.open(std::string_view(folder.file("plain/velm.log")), 1000, 2));
    EXPECT_FALSE(writer.open(std::string_view(folder.file("x.log")), 0, 2));
    write("still here");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("still here")));
}

TEST_F(LogWriterTest, WritesToStandardError_WhenThePathIsEmpty) {
    ASSERT_TRUE(writer.open("", 0, 0));
    testing::internal::CaptureStderr();
    write("to the console");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), EndsWith("Who::does: to the console\n"));
    EXPECT_TRUE(lines().empty());
}

TEST_F(LogWriterTest, LosesAndSplitsNoLine_WhenThreadsWriteAtOnce) {
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 100; ++i) {
                write(std::string_view("t" + std::to_string(thread) + " " + std::to_string(i)));
                write("the same");
            }
        });
    }
    threads.clear();
    writer.flush();
    const std::vector<std::string> all = lines();
    EXPECT_EQ(all.size(), 402u);
    EXPECT_THAT(all, testing::Each(testing::ContainsRegex("\\] Who::does: (t[0-3] [0-9]+|the same.*)$")));
    EXPECT_THAT(all.back(), EndsWith("the same (399 more times)"));
}

}  // namespace
}  // namespace velm
