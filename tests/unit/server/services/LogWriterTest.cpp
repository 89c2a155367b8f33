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
using testing::HasSubstr;

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
        writer.write({"Who::does", message, OrvoTraceLog::SeverityInformation});
    }

    test::TemporaryFolder folder;
    LogWriter writer{&fakeClock};
};

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
    writer.write(
        {"evil\nhost", "a\r\n2026-11-20T00:00:00.000+00:00 [error] forged", OrvoTraceLog::SeverityError});
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

TEST_F(LogWriterTest, WritesTheNumberBehindACutMessage) {
    const std::string longText(LogWriter::maxMessageBytes + 7, 'x');
    writer.write({"c", std::string_view(longText), OrvoTraceLog::SeverityError, 17});
    EXPECT_THAT(lines(), ElementsAre(EndsWith("xxx ... (7 more bytes) (17)")));
}

TEST_F(LogWriterTest, WritesJSON_FromTheNextLineOn) {
    write("as text");
    writer.setFormat(ORVLog::Format::json);
    write("as JSON");
    writer.setFormat(ORVLog::Format::text);
    write("as text again");
    EXPECT_THAT(lines(), ElementsAre(EndsWith(": as text"), EndsWith(R"("message":"as JSON"})"),
                                     EndsWith(": as text again")));
}

TEST_F(LogWriterTest, CollapsesRepeats_WhenTheFormatIsJSON) {
    writer.setFormat(ORVLog::Format::json);
    write("again");
    write("again");
    write("again");
    writer.flush();
    EXPECT_THAT(lines(), ElementsAre(EndsWith(R"("message":"again"})"),
                                     EndsWith(R"("message":"again","repeats":2})")));
}

TEST_F(LogWriterTest, KeepsTheFormat_WhenAnotherFileIsOpened) {
    writer.setFormat(ORVLog::Format::json);
    ASSERT_TRUE(writer.open(std::string_view(folder.file("next.log")), 1000, 1));
    write("there");
    EXPECT_THAT(folder.lines("next.log"), ElementsAre(HasSubstr(R"("message":"there")")));
}

TEST_F(LogWriterTest, WritesToANewFile_WhenReopenedAfterTheOldWasMoved) {
    write("again");
    write("again");
    std::filesystem::rename(folder.file("velm.log"), folder.file("velm.log.old"));
    write("still in the old one");
    EXPECT_TRUE(writer.reopen());
    write("again");
    EXPECT_THAT(folder.lines("velm.log.old"),
                ElementsAre(EndsWith("again"), EndsWith("still in the old one"), EndsWith("(1 more time)")));
    EXPECT_THAT(lines(), ElementsAre(EndsWith("Who::does: again")));
}

TEST_F(LogWriterTest, GoesOnInTheSameFile_WhenReopenedAndNobodyMovedIt) {
    write("before");
    EXPECT_TRUE(writer.reopen());
    write("after");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("before"), EndsWith("after")));
}

TEST_F(LogWriterTest, KeepsItsSizes_WhenReopened) {
    ASSERT_TRUE(writer.open(std::string_view(folder.file("small.log")), 1000, 1));
    EXPECT_TRUE(writer.reopen());
    for (int i = 0; i < 50; ++i) {
        write(std::string_view("line " + std::to_string(i)));
    }
    EXPECT_LE(std::filesystem::file_size(folder.file("small.log")), 1000u);
    EXPECT_TRUE(std::filesystem::exists(folder.file("small.1.log")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("small.2.log")));
}

TEST_F(LogWriterTest, GoesOnInTheOldFile_WhenItCannotBeReopened) {
    std::filesystem::rename(folder.file("velm.log"), folder.file("velm.log.old"));
    std::filesystem::create_directory(folder.file("velm.log"));
    EXPECT_FALSE(writer.reopen());
    write("not lost");
    EXPECT_THAT(folder.lines("velm.log.old"), ElementsAre(EndsWith("not lost")));
}

TEST_F(LogWriterTest, AnswersTrue_WhenStandardErrorIsReopened) {
    ASSERT_TRUE(writer.open("", 0, 0));
    EXPECT_TRUE(writer.reopen());
    testing::internal::CaptureStderr();
    write("on the console");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), EndsWith("Who::does: on the console\n"));
}

TEST_F(LogWriterTest, LosesNoLine_WhenReopenedUnderLoad) {
    std::vector<std::jthread> threads;
    threads.reserve(2);
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 200; ++i) {
                write(std::string_view("t" + std::to_string(thread) + " " + std::to_string(i)));
            }
        });
    }
    std::size_t moved = 0;
    for (int i = 0; i < 20; ++i) {
        std::filesystem::rename(folder.file("velm.log"), folder.file("moved.log"));
        EXPECT_TRUE(writer.reopen());
        moved += folder.lines("moved.log").size();
    }
    threads.clear();
    EXPECT_EQ(moved + lines().size(), 400u);
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
