#include "foundation/containers/NumberSet.h"

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::uint32_t> sorted(const velm::NumberSet& numbers) {
    std::vector<std::uint32_t> all = numbers.all();
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace

TEST(NumberSet, KeepsEachNumberOnce) {
    velm::NumberSet numbers;
    EXPECT_TRUE(numbers.isEmpty());
    for (const std::uint32_t number : {7U, 0U, 7U, 4294967295U, 0U}) {
        numbers.insert(number);
    }
    EXPECT_EQ(sorted(numbers), (std::vector<std::uint32_t>{0, 7, 4294967295U}));
    numbers.erase(1);
    numbers.erase(7);
    EXPECT_EQ(sorted(numbers), (std::vector<std::uint32_t>{0, 4294967295U}));
    EXPECT_FALSE(numbers.isEmpty());
}

TEST(NumberSet, AgreesWithAnOrderedSet_OverAHundredThousandRandomOperations) {
    std::mt19937 random(20261121);
    velm::NumberSet numbers;
    std::set<std::uint32_t> model;
    std::uint32_t range = 1;
    for (int step = 0; step < 100'000; ++step) {
        if (step % 500 == 0) {
            range = std::vector<std::uint32_t>{2, 5, 40, 1000}.at(random() % 4);
        }
        const auto number = static_cast<std::uint32_t>(random()) % range;
        if (random() % 2 == 0) {
            numbers.insert(number);
            model.insert(number);
        } else {
            numbers.erase(number);
            model.erase(number);
        }
        ASSERT_EQ(numbers.isEmpty(), model.empty());
        if (step % 100 == 0) {
            ASSERT_EQ(sorted(numbers), std::vector<std::uint32_t>(model.begin(), model.end()));
        }
    }
}
