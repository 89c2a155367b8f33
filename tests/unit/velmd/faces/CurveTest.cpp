#include "velmd/faces/Curve.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::faces {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(CurveAxis, EndsAtARoundNumber) {
    const std::pair<double, double> rows[]{
        {0, 1}, {-1, 1},   {0.003, 0.003}, {0.5, 0.5}, {0.55, 0.6}, {1, 1},   {1.1, 1.2}, {2.4, 3},
        {7, 8}, {8.1, 10}, {24, 30},       {48, 50},   {50, 50},    {51, 60}, {115, 120}, {1e6, 1e6}};
    for (const auto& [value, end] : rows) {
        EXPECT_NEAR(axisEnd(value), end, end * 1e-9) << value;
    }
}

TEST(CurveAxis, IsLabelledExactly) {
    EXPECT_THAT((Curve{"Failed", {0, 14.5}, 5s}.drawing()), HasSubstr(">7.5</text>"));
    EXPECT_THAT((Curve{"Failed", {0, 0.15}, 5s}.drawing()), HasSubstr(">0.075</text>"));
    EXPECT_THAT((Curve{"Failed", {0, 2900}, 5s}.drawing()), HasSubstr(">1,500</text>"));
}

TEST(Curve, SaysInASentenceWhatItDraws) {
    const Curve curve{"Delivered", {0, 40, 8, 12}, 5s};
    EXPECT_EQ(curve.sentence(),
              "Delivered per second over the last 20 s: 12 now, 40 at the most, 15 on average.");
    EXPECT_THAT(curve.drawing(), HasSubstr("role=\"img\" aria-label=\"" + curve.sentence() + "\""));
}

TEST(Curve, NamesItsAxes) {
    const std::string drawing = Curve{"Delivered", {0, 40, 8, 12}, 5s}.drawing();
    EXPECT_THAT(drawing, HasSubstr(">40</text>"));
    EXPECT_THAT(drawing, HasSubstr(">20</text>"));
    EXPECT_THAT(drawing, HasSubstr(">0</text>"));
    EXPECT_THAT(drawing, HasSubstr(">20 s ago</text>"));
    EXPECT_THAT(drawing, HasSubstr(">now</text>"));
}

TEST(Curve, GoesThroughItsValuesFromLeftToRight) {
    const std::string drawing = Curve{"Delivered", {0, 1, 0.5}, 1s}.drawing();
    EXPECT_THAT(drawing, HasSubstr("class=\"line\" d=\"M36.0 90.0L164.0 12.0L292.0 51.0\""));
}

TEST(Curve, SaysSo_WhileThereIsNothingToDraw) {
    for (const std::vector<double>& values : {std::vector<double>(), std::vector<double>{3}}) {
        const Curve curve{"Failed", values, 5s};
        EXPECT_THAT(curve.drawing(), testing::Not(HasSubstr("<svg")));
        EXPECT_FALSE(curve.sentence().empty());
    }
}

}  // namespace velm::faces
