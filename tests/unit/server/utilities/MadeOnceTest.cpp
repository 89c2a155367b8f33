#include "foundation/utilities/MadeOnce.h"

#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

ORVSmrPtr<int> makeSeven() {
    return ORVSmrPtr<int>(new int(7));
}

TEST(MadeOnce, MakesThePart_WhenFirstAsked) {
    const velm::MadeOnce<int> part;
    EXPECT_EQ(part.find(), nullptr);
    EXPECT_EQ(*part.get(makeSeven), 7);
    ASSERT_NE(part.find(), nullptr);
    EXPECT_EQ(part.find()->Get(), part.get(makeSeven).Get()) << "the same one from then on";
}

TEST(MadeOnce, SharesThePart_WhenCopied) {
    const velm::MadeOnce<int> unmade;
    EXPECT_EQ(velm::MadeOnce<int>(unmade).find(), nullptr);
    const velm::MadeOnce<int> part;
    part.get(makeSeven);
    EXPECT_EQ(velm::MadeOnce<int>(part).get(makeSeven).Get(), part.find()->Get());
}

TEST(MadeOnce, KeepsNothing_WhenMakingFails) {
    const velm::MadeOnce<int> part;
    EXPECT_THROW(part.get([]() -> ORVSmrPtr<int> { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_EQ(part.find(), nullptr);
    EXPECT_EQ(*part.get(makeSeven), 7);
}

TEST(MadeOnce, GivesAllThreadsTheSamePart) {
    for (int round = 0; round < 200; ++round) {
        const velm::MadeOnce<int> part;
        std::vector<const int*> seen(4);
        {
            std::vector<std::jthread> threads;
            for (const int*& mine : seen) {
                threads.emplace_back([&part, &mine] { mine = part.get(makeSeven).Get(); });
            }
        }
        for (const int* other : seen) {
            ASSERT_EQ(other, seen.front());
        }
    }
}

}  // namespace
