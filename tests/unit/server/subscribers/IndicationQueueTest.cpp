#include "foundation/subscribers/IndicationQueue.h"

#include "foundation/object_model/COrvoIndication.h"

#include <deque>
#include <random>
#include <utility>

#include <gtest/gtest.h>

namespace {

using velm::IndicationQueue;
using Indication = ORVSmrPtr<IOrvoIndication>;

Indication makeIndication() {
    return Indication(new COrvoIndication(nullptr, IOrvoIndication::IndicationChange, nullptr, nullptr,
                                          IOrvoIndication::IntentReport, nullptr, false));
}

TEST(IndicationQueue, HandsOutInOrder) {
    IndicationQueue queue;
    std::deque<Indication> expected;
    for (int count = 0; count < 100; ++count) {
        expected.push_back(makeIndication());
        queue.push(Indication(expected.back()));
    }
    EXPECT_EQ(queue.size(), 100U);
    for (const Indication& indication : expected) {
        EXPECT_EQ(queue.pop(), indication);
    }
    EXPECT_TRUE(queue.isEmpty());
}

TEST(IndicationQueue, LetsGoOfWhatItHandsOut) {
    IndicationQueue queue;
    queue.push(makeIndication());
    const Indication other = makeIndication();
    queue.push(Indication(other));
    queue.pop();
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_EQ(queue.pop(), other);
}

TEST(IndicationQueue, BehavesAsADeque_WhateverTheOrderOfOperations) {
    std::mt19937 random(11);
    IndicationQueue queue;
    IndicationQueue other;
    std::deque<Indication> expected;
    std::deque<Indication> expectedOther;
    for (int operation = 0; operation < 100'000; ++operation) {
        const auto choice = random() % 1000;
        // It grows to some hundreds and shrinks to nothing again and again.
        const unsigned int pushes = operation / 500 % 2 == 0 ? 800 : 300;
        if (choice == 0) {
            queue.swap(other);
            expected.swap(expectedOther);
        } else if (choice < pushes) {
            const Indication indication = makeIndication();
            queue.push(Indication(indication));
            expected.push_back(indication);
        } else if (!expected.empty()) {
            ASSERT_EQ(queue.pop(), expected.front());
            expected.pop_front();
        }
        ASSERT_EQ(queue.size(), expected.size());
        ASSERT_EQ(queue.isEmpty(), expected.empty());
    }
}

}  // namespace
