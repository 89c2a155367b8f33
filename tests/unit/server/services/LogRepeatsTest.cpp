#include "server/services/LogRepeats.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velm {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class LogRepeatsTest : public testing::Test {
protected:
    bool admit(const ORVString& component, const ORVString& message, unsigned int number = 0) {
        return repeats.admit({component, message, OrvoTraceLog::SeverityWarning, number}, now, ended);
    }

    LogRepeats repeats;
    LogRepeats::Time now{};
    std::vector<LogRepeats::Repeat> ended;
};

TEST_F(LogRepeatsTest, CountsLine_WhenItRepeatsInsideTheWindow) {
    EXPECT_TRUE(admit("a", "x"));
    now += seconds(30) - milliseconds(1);
    EXPECT_FALSE(admit("a", "x"));
    EXPECT_TRUE(ended.empty());
}

TEST_F(LogRepeatsTest, TellsLinesApart_WhenComponentMessageOrNumberDiffers) {
    EXPECT_TRUE(admit("a", "x"));
    EXPECT_TRUE(admit("b", "x"));
    EXPECT_TRUE(admit("a", "y"));
    EXPECT_TRUE(admit("ax", ""));
    EXPECT_TRUE(admit("", "ax"));
    EXPECT_TRUE(admit("a", "x", 1));
    EXPECT_FALSE(admit("a", "x", 1));
}

TEST_F(LogRepeatsTest, EndsWindow_WhenThirtySecondsArePast) {
    admit("a", "x");
    admit("a", "x");
    admit("a", "x");
    now += seconds(30);
    EXPECT_TRUE(admit("a", "x"));
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].line.component, "a");
    EXPECT_EQ(ended[0].line.message, "x");
    EXPECT_EQ(ended[0].line.severity, OrvoTraceLog::SeverityWarning);
    EXPECT_EQ(ended[0].count, 2u);
}

TEST_F(LogRepeatsTest, EndsWindow_WhenAnotherLineComesLater) {
    admit("a", "x");
    admit("a", "x");
    now += seconds(31);
    EXPECT_TRUE(admit("b", "y"));
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].count, 1u);
}

TEST_F(LogRepeatsTest, SaysNothing_WhenTheLineCameOnce) {
    admit("a", "x");
    now += seconds(31);
    admit("b", "y");
    EXPECT_TRUE(ended.empty());
}

TEST_F(LogRepeatsTest, EndsOldestWindow_WhenTheTableIsFull) {
    admit("a", "0");
    admit("a", "0");
    for (std::size_t i = 1; i < LogRepeats::capacity; ++i) {
        EXPECT_TRUE(admit("a", std::string_view(std::to_string(i))));
    }
    EXPECT_TRUE(ended.empty());
    EXPECT_TRUE(admit("a", "one more"));
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].line.message, "0");
    EXPECT_FALSE(admit("a", "1"));
    EXPECT_TRUE(admit("a", "0"));
}

TEST_F(LogRepeatsTest, KeepsWindowsOpen_WhenCountsAreTaken) {
    admit("a", "x");
    admit("a", "x");
    admit("b", "y");
    const std::vector<LogRepeats::Repeat> counts = repeats.takeCounts();
    ASSERT_EQ(counts.size(), 1u);
    EXPECT_EQ(counts[0].count, 1u);
    EXPECT_TRUE(repeats.takeCounts().empty());
    EXPECT_FALSE(admit("a", "x"));
    EXPECT_EQ(repeats.takeCounts().size(), 1u);
}

TEST_F(LogRepeatsTest, AdmitsEveryLineAgain_WhenCleared) {
    admit("a", "x");
    admit("a", "x");
    repeats.clear();
    EXPECT_TRUE(repeats.takeCounts().empty());
    EXPECT_TRUE(admit("a", "x"));
}

}  // namespace
}  // namespace velm
