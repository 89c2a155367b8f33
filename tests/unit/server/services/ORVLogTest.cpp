#include "foundation/services/ORVLog.h"

#include "foundation/services/CIMUtil.h"
#include "tests/unit/server/services/TemporaryFolder.h"

#include <atomic>
#include <filesystem>
#include <latch>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr auto error = OrvoTraceLog::SeverityError;
constexpr auto warning = OrvoTraceLog::SeverityWarning;
constexpr auto information = OrvoTraceLog::SeverityInformation;
constexpr auto detail = OrvoTraceLog::SeverityDetail;
constexpr auto none = static_cast<OrvoTraceLog::Severity>(0);

class Recorder : public IORVLogObserver {
public:
    void onLog(const ORVLogRecord& record) noexcept override {
        const std::lock_guard guard(_mutex);
        records.push_back(record);
    }

    std::vector<ORVLogRecord> records;

private:
    std::mutex _mutex;
};

void log(const ORVString& message, OrvoTraceLog::Severity severity = error, unsigned int number = 0) {
    ORVLog::log("ORVLogTest::log", message, severity, OrvoTraceLog::VerbosityNormal, number,
                ORVLog::CIMOMLOG);
}

/// Lines go to a file of their own; thresholds are those of a fresh process before and after.
class ORVLogTest : public testing::Test {
public:
    ORVLogTest() {
        _reset();
        EXPECT_TRUE(ORVLog::open(std::string_view(folder.file("velm.log"))));
    }
    ~ORVLogTest() override {
        ORVLog::setObserver(nullptr);
        ORVLog::flush();
        ORVLog::open("");
        ORVLog::setFormat(ORVLog::Format::text);
        _reset();
    }

protected:
    std::vector<std::string> lines() const { return folder.lines("velm.log"); }

    velm::test::TemporaryFolder folder;
    Recorder recorder;

private:
    static void _reset() {
        ORVLog::setThreshold(detail);
        ORVLog::setTraceThreshold(information);
    }
};

TEST_F(ORVLogTest, WritesLine) {
    log("writes a line");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("ORVLogTest::log: writes a line")));
}

TEST_F(ORVLogTest, WritesNumber_WhenThereIsOne) {
    log("with a number", error, 17);
    EXPECT_THAT(lines(), ElementsAre(EndsWith("ORVLogTest::log: with a number (17)")));
}

TEST_F(ORVLogTest, DropsLine_WhenItsSeverityIsAboveTheThreshold) {
    ORVLog::setThreshold(warning);
    log("threshold error", error);
    log("threshold warning", warning);
    log("threshold information", information);
    EXPECT_THAT(lines(), ElementsAre(EndsWith("threshold error"), EndsWith("threshold warning")));
}

TEST_F(ORVLogTest, WritesNothing_WhenTheThresholdIsZero) {
    ORVLog::setThreshold(none);
    ORVLog::setTraceThreshold(none);
    log("silent", error);
    log("silent", none);
    CIMUtil::Log("c", "silent", error, ORVLog::CIMOMLOG);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ORVLogTest, ShowsTracesUpToInformation_WhenNothingWasSet) {
    CIMUtil::Log("tracer", "trace shown", information, ORVLog::CIMOMLOG);
    CIMUtil::Log("tracer", "trace hidden", detail, ORVLog::CIMOMLOG);
    EXPECT_THAT(lines(), ElementsAre(EndsWith("tracer: trace shown")));
}

TEST_F(ORVLogTest, AnswersWhetherATraceIsOn) {
    EXPECT_TRUE(CIMUtil::IsLogged(information, ORVLog::CIMOMLOG));
    EXPECT_FALSE(CIMUtil::IsLogged(detail, ORVLog::CIMOMLOG));
    EXPECT_FALSE(CIMUtil::IsLogged(information, 0));
    ORVLog::setTraceThreshold(detail);
    EXPECT_TRUE(CIMUtil::IsLogged(detail, ORVLog::CIMOMLOG));
}

TEST_F(ORVLogTest, CollapsesRepeats_WhileTheObserverSeesEach) {
    ORVLog::setObserver(&recorder);
    for (int i = 0; i < 5; ++i) {
        log("odd listener");
    }
    EXPECT_EQ(recorder.records.size(), 5u);
    EXPECT_EQ(lines().size(), 1u);
    ORVLog::flush();
    EXPECT_THAT(lines(), ElementsAre(EndsWith("odd listener"), EndsWith("odd listener (4 more times)")));
}

TEST_F(ORVLogTest, GivesTheObserverWhatWasLogged) {
    ORVLog::setObserver(&recorder);
    ORVLog::log("where", "observed\nraw", warning, OrvoTraceLog::VerbosityHigh, 3, 5);
    CIMUtil::Log("tracer", "observed trace", information, ORVLog::CIMOMLOG);
    ASSERT_EQ(recorder.records.size(), 2u);
    const ORVLogRecord& line = recorder.records[0];
    EXPECT_EQ(line.component, "where");
    EXPECT_EQ(line.message, "observed\nraw");
    EXPECT_EQ(line.severity, warning);
    EXPECT_EQ(line.verbosity, OrvoTraceLog::VerbosityHigh);
    EXPECT_EQ(line.number, 3u);
    EXPECT_EQ(line.category, 5u);
    EXPECT_FALSE(line.isTrace);
    EXPECT_TRUE(recorder.records[1].isTrace);
    EXPECT_EQ(recorder.records[1].verbosity, OrvoTraceLog::VerbosityNormal);
}

TEST_F(ORVLogTest, TellsTheObserverNothing_WhenTheSeverityIsOffOrItIsGone) {
    ORVLog::setObserver(&recorder);
    ORVLog::setThreshold(error);
    log("not observed", warning);
    ORVLog::setObserver(nullptr);
    log("no longer observed", error);
    EXPECT_TRUE(recorder.records.empty());
}

TEST_F(ORVLogTest, DoesNotCallTheObserverAgain_WhenItLogsItself) {
    class Talkative : public IORVLogObserver {
    public:
        void onLog(const ORVLogRecord&) noexcept override {
            ++calls;
            log("said by the observer");
        }
        int calls = 0;
    } talkative;
    ORVLog::setObserver(&talkative);
    log("said first");
    log("said second");
    EXPECT_EQ(talkative.calls, 2);
    EXPECT_THAT(lines(), ElementsAre(EndsWith("said by the observer"), EndsWith("said first"),
                                     EndsWith("said second")));
}

TEST_F(ORVLogTest, WaitsForCallsUnderWay_WhenTheObserverIsTakenAway) {
    class Slow : public IORVLogObserver {
    public:
        void onLog(const ORVLogRecord&) noexcept override {
            entered = true;
            entered.notify_all();
            mayLeave.wait(false);
            left = true;
        }
        std::atomic<bool> entered{false};
        std::atomic<bool> mayLeave{false};
        std::atomic<bool> left{false};
    } slow;
    ORVLog::setObserver(&slow);
    std::jthread logger([] { log("slowly observed"); });
    slow.entered.wait(false);
    std::atomic<bool> taken{false};
    std::jthread remover([&] {
        ORVLog::setObserver(nullptr);
        EXPECT_TRUE(slow.left);
        taken = true;
    });
    EXPECT_FALSE(taken);
    slow.mayLeave = true;
    slow.mayLeave.notify_all();
    remover.join();
    EXPECT_TRUE(taken);
}

TEST_F(ORVLogTest, StaysUsable_WhenObserverAndThresholdChangeUnderLoad) {
    std::atomic<bool> stop{false};
    std::latch logged(3);
    std::vector<std::jthread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&stop, &logged] {
            log("under load");
            CIMUtil::Log("tracer", "under load", information, ORVLog::CIMOMLOG);
            logged.count_down();
            while (!stop) {
                log("under load");
            }
        });
    }
    logged.wait();
    for (int i = 0; i < 200; ++i) {
        Recorder shortLived;
        ORVLog::setObserver(&shortLived);
        ORVLog::setThreshold(i % 2 == 0 ? error : detail);
        ORVLog::setObserver(nullptr);
    }
    stop = true;
    threads.clear();
    ORVLog::flush();
    EXPECT_THAT(lines(), testing::UnorderedElementsAre(
                             EndsWith("log: under load"), EndsWith("tracer: under load"),
                             testing::ContainsRegex("log: under load \\([0-9]+ more times\\)$"),
                             EndsWith("tracer: under load (2 more times)")));
}

TEST_F(ORVLogTest, AnswersFalse_WhenTheFileCannotBeOpened) {
    folder.write("plain", "");
    EXPECT_FALSE(ORVLog::open(std::string_view(folder.file("plain/velm.log"))));
    log("after a refusal");
    EXPECT_THAT(lines(), ElementsAre(EndsWith("after a refusal")));
}

TEST_F(ORVLogTest, WritesJSON_WhenThatFormatIsSet) {
    ORVLog::setFormat(ORVLog::Format::json);
    log("for a machine", warning, 17);
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_THAT(lines()[0], testing::HasSubstr(R"("severity":"warning","component":"ORVLogTest::log")"));
    EXPECT_THAT(lines()[0], EndsWith(R"("number":17,"message":"for a machine"})"));
}

TEST_F(ORVLogTest, WritesToANewFile_WhenReopenedAfterTheOldWasMoved) {
    log("before the move");
    std::filesystem::rename(folder.file("velm.log"), folder.file("velm.log.1"));
    EXPECT_TRUE(ORVLog::reopen());
    log("after the move");
    EXPECT_THAT(folder.lines("velm.log.1"), ElementsAre(EndsWith("before the move")));
    EXPECT_THAT(lines(), ElementsAre(EndsWith("after the move")));
}

TEST_F(ORVLogTest, AnswersFalse_WhenTheFileCannotBeReopened) {
    std::filesystem::rename(folder.file("velm.log"), folder.file("velm.log.1"));
    std::filesystem::create_directory(folder.file("velm.log"));
    EXPECT_FALSE(ORVLog::reopen());
    log("after a refused reopening");
    EXPECT_THAT(folder.lines("velm.log.1"), ElementsAre(EndsWith("after a refused reopening")));
}

void logWhileExiting() {
    std::thread([] {
        for (int i = 0; i >= 0; ++i) {
            log(std::string_view("exiting " + std::to_string(i % 50)));
        }
    }).detach();
    log("last words");
    log("last words");
    std::exit(0);
}

TEST(ORVLogDeathTest, ServesADetachedThreadAndWritesCounts_WhenTheProcessExits) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(logWhileExiting(), testing::ExitedWithCode(0), "last words \\(1 more time\\)");
}

}  // namespace
