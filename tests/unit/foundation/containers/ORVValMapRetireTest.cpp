#include "foundation/containers/ORVValMap.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVReaderWriterLock.h"

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// A value that tells a live object from a freed one also without a sanitizer.
struct Guarded {
    static inline std::atomic<int> alive{0};

    explicit Guarded(int initial) : number(initial) { ++alive; }
    ~Guarded() {
        number = -1;
        --alive;
    }
    int number;
};

using Handle = ORVSmrPtr<Guarded>;
using Map = ORVValMap<ORVString, Handle>;
using MapIterator = ORVValMapIterator<ORVString, Handle>;

Handle guarded(int number) {
    return Handle(new Guarded(number));
}

ORVString keyOf(int number) {
    return std::to_string(number).c_str();
}

int countByIterating(const Map& map) {
    int count = 0;
    for (MapIterator iterator(map); ++iterator;) {
        EXPECT_GE(iterator.value()->number, 0);
        ++count;
    }
    return count;
}

}  // namespace

TEST(ValMapRetire, HidesThePairFromFindIterationAndEntries) {
    Map map(&hashKeyORVString, 2);
    for (int i = 0; i < 5; ++i) {
        map.insert(keyOf(i), guarded(i));
    }
    EXPECT_TRUE(map.retire("3"));
    Handle found;
    EXPECT_FALSE(map.find("3", found));
    EXPECT_TRUE(found.IsNull());
    EXPECT_EQ(map.find("3"), nullptr);
    EXPECT_EQ(map.entries(), 4U);
    EXPECT_EQ(countByIterating(map), 4);
}

TEST(ValMapRetire, AnswersFalse_WhenThePairIsAbsentOrGoneAlready) {
    Map map(&hashKeyORVString, 2);
    map.insert("1", guarded(1));
    EXPECT_FALSE(map.retire("2"));
    EXPECT_TRUE(map.retire("1"));
    EXPECT_FALSE(map.retire("1"));
    EXPECT_FALSE(map.remove("1"));
    EXPECT_TRUE(map.isEmpty());
}

TEST(ValMapRetire, LetsAWalkGoOn_WhenItsCurrentPairIsRetired) {
    Map map(&hashKeyORVString, 1);
    for (int i = 0; i < 3; ++i) {
        map.insert(keyOf(i), guarded(i));
    }
    std::vector<int> seen;
    for (MapIterator iterator(map); ++iterator;) {
        map.retire(iterator.key());
        seen.push_back(iterator.value()->number);
    }
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2}));
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(countByIterating(map), 0);
}

TEST(ValMapRetire, KeepsTheValueUntilTheNextChange) {
    const int before = Guarded::alive;
    Map map(&hashKeyORVString, 2);
    map.insert("1", guarded(1));
    map.insert("2", guarded(2));
    const Handle* value = map.find("1");
    map.retire("1");
    EXPECT_EQ((*value)->number, 1);
    EXPECT_EQ(Guarded::alive - before, 2);
    EXPECT_FALSE(map.remove("absent"));
    EXPECT_EQ(Guarded::alive - before, 1);
    map.retire("2");
    map.insert("3", guarded(3));
    EXPECT_EQ(Guarded::alive - before, 1);
    map.insert("4", guarded(4));
    map.retire("3");
    map.purge();
    EXPECT_EQ(Guarded::alive - before, 1);
    EXPECT_EQ(countByIterating(map), 1);
}

TEST(ValMapRetire, TakesTheKeyAgain_WhenItIsInsertedAfterwards) {
    Map map(&hashKeyORVString, 1);
    map.insert("1", guarded(1));
    map.insert("2", guarded(2));
    map.retire("1");
    EXPECT_TRUE(map.insert("1", guarded(10)));
    EXPECT_EQ(map.entries(), 2U);
    EXPECT_EQ((*map.find("1"))->number, 10);
    std::vector<int> order;
    for (MapIterator iterator(map); ++iterator;) {
        order.push_back(iterator.value()->number);
    }
    EXPECT_EQ(order, (std::vector<int>{2, 10}));
}

TEST(ValMapRetire, FreesEverything_WhenTheMapGoesWithRetiredPairs) {
    const int before = Guarded::alive;
    {
        Map map(&hashKeyORVString, 2);
        map.insert("1", guarded(1));
        map.insert("2", guarded(2));
        map.retire("1");
    }
    EXPECT_EQ(Guarded::alive, before);
}

TEST(ValMapRetire, IsWonByOneThread_WhenManyRetireTheSamePairs) {
    constexpr int pairs = 500;
    Map map(&hashKeyORVString, 10);
    for (int i = 0; i < pairs; ++i) {
        map.insert(keyOf(i), guarded(i));
    }
    std::atomic<int> won{0};
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&map, &won] {
                for (int i = 0; i < pairs; ++i) {
                    won += map.retire(keyOf(i));
                }
            });
        }
    }
    EXPECT_EQ(won, pairs);
    EXPECT_TRUE(map.isEmpty());
}

/// Readers find, walk and retire under the read lock while a writer brings the pairs back under the write
/// lock.
TEST(ValMapRetire, NeverFreesUnderAReader_WhenReadersRetireAndAWriterInserts) {
    constexpr int pairs = 40;
    constexpr int refills = 60;
    const int before = Guarded::alive;
    ORVReaderWriterLock lock;
    Map map(&hashKeyORVString, 10);
    std::atomic<bool> isDone{false};
    std::atomic<long> retired{0};
    long inserted = 0;
    {
        std::vector<std::jthread> readers;
        readers.reserve(4);
        for (int t = 0; t < 4; ++t) {
            readers.emplace_back([&, t] {
                for (int i = t; !isDone; ++i) {
                    lock.getReadLock();
                    const Handle* found = map.find(keyOf(i % pairs));
                    retired += map.retire(keyOf((i * 7 + t) % pairs));
                    EXPECT_TRUE(!found || (*found)->number >= 0);
                    EXPECT_LE(countByIterating(map), pairs);
                    lock.releaseReadLock();
                }
            });
        }
        for (int refill = 0; refill < refills; ++refill) {
            lock.getWriteLock();
            for (int i = 0; i < pairs; ++i) {
                if (!map.find(keyOf(i))) {
                    map.insert(keyOf(i), guarded(i));
                    ++inserted;
                }
            }
            EXPECT_EQ(Guarded::alive - before, pairs);
            lock.releaseWriteLock();
        }
        isDone = true;
    }
    EXPECT_EQ(static_cast<long>(map.entries()), inserted - retired);
    map.clear();
    EXPECT_EQ(Guarded::alive, before);
}
