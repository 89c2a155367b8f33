#include "velmctl/client/InTime.h"

#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

using namespace velm;
using std::chrono::milliseconds;

TEST(InTime, IsTheResult_WhenItComesInTime) {
    EXPECT_EQ(inTime<int>(std::chrono::minutes(1), [] { return 7; }), 7);
}

TEST(InTime, IsNothing_WhenItComesTooLate) {
    // The work goes on after the test is done with it, on a thread of its own.
    const auto end = std::make_shared<std::promise<void>>();
    const auto ended = std::make_shared<std::promise<void>>();
    const auto work = [end, ended] {
        end->get_future().wait();
        ended->set_value();
        return 7;
    };
    EXPECT_EQ(inTime<int>(milliseconds(10), work), std::nullopt);
    end->set_value();
    ended->get_future().wait();
}

TEST(InTime, PassesOnWhatTheWorkThrows) {
    EXPECT_THROW(inTime<int>(std::chrono::minutes(1), []() -> int { throw std::runtime_error("no"); }),
                 std::runtime_error);
}
