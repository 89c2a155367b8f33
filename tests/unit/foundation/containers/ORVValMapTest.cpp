#include "foundation/containers/ORVValMap.h"

#include "foundation/handles/ORVSmrPtr.h"
#include "tests/unit/foundation/containers/LiveBlocks.h"

#include <algorithm>
#include <array>
#include <climits>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Map = ORVValMap<ORVString, int>;
using MapIterator = ORVValMapIterator<ORVString, int>;
using Pairs = std::vector<std::pair<std::string, int>>;

/// The first letter chooses the bucket: 'a' is 0, 'b' is 1 and so on.
std::uint32_t byFirstLetter(const ORVString& key) {
    return static_cast<std::uint32_t>(key.data()[0] - 'a');
}

Pairs pairsOf(const Map& map) {
    Pairs pairs;
    for (MapIterator iterator(map); ++iterator;) {
        pairs.emplace_back(iterator.key().data(), iterator.value());
    }
    return pairs;
}

/// A key that counts how often keys are hashed and compared.
struct CountedKey {
    static inline unsigned long hashes = 0;
    static inline unsigned long comparisons = 0;

    int number;

    friend bool operator==(const CountedKey& left, const CountedKey& right) {
        ++comparisons;
        return left.number == right.number;
    }

    static std::uint32_t hash(const CountedKey& key) {
        ++hashes;
        return static_cast<std::uint32_t>(key.number) * 2654435761U;
    }
};

struct Effort {
    unsigned long hashes;
    unsigned long comparisons;
};

/// What 1000 times find, insert and remove cost together in a map of `size` pairs.
Effort effortAt(int size) {
    constexpr int rounds = 1000;
    ORVValMap<CountedKey, int> map(&CountedKey::hash, 150);
    for (int i = 0; i < size; ++i) {
        map.insert({i}, i);
    }
    CountedKey::hashes = CountedKey::comparisons = 0;
    for (int i = 0; i < rounds; ++i) {
        int value = -1;
        EXPECT_TRUE(map.find({i % size}, value));
        EXPECT_EQ(value, i % size);
        EXPECT_FALSE(map.find({size}, value));
        EXPECT_TRUE(map.insert({size}, i));
        EXPECT_TRUE(map.insert({i % size}, i % size));
        EXPECT_TRUE(map.remove({size}));
        EXPECT_FALSE(map.remove({size}));
    }
    EXPECT_EQ(map.entries(), static_cast<unsigned int>(size));
    return {CountedKey::hashes / rounds, CountedKey::comparisons / rounds};
}

/// A value that throws when it is copied for the n-th time.
struct FragileValue {
    static inline int copiesLeft = INT_MAX;

    int number = 0;

    explicit FragileValue(int initial) : number(initial) {}
    FragileValue(const FragileValue& other) : number(other.number) {
        if (copiesLeft-- == 0) {
            throw std::bad_alloc();
        }
    }
    FragileValue& operator=(const FragileValue&) = default;
};

}  // namespace

TEST(ValMap, IsEmpty_WhenNew) {
    const Map map(&byFirstLetter, 5);
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(map.entries(), 0U);
    EXPECT_EQ(pairsOf(map), Pairs{});
}

TEST(ValMap, AssignsTheValue_WhenTheKeyIsFound) {
    Map map(&byFirstLetter, 5);
    EXPECT_TRUE(map.insert("a", 7));
    int value = 1;
    EXPECT_TRUE(map.find("a", value));
    EXPECT_EQ(value, 7);
    ASSERT_NE(map.find("a"), nullptr);
    EXPECT_EQ(*map.find("a"), 7);
}

TEST(ValMap, LeavesTheValue_WhenTheKeyIsAbsent) {
    Map map(&byFirstLetter, 5);
    map.insert("a", 7);
    int value = 1;
    EXPECT_FALSE(map.find("aa", value));
    EXPECT_FALSE(map.find("b", value));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(map.find("b"), nullptr);
}

TEST(ValMap, MatchesByEqualityOfTheKey_WhenTheHashIgnoresCase) {
    ORVValMap<ORVString, int> map(&hashKeyORVStringToLower, 150);
    map.insert("Name", 1);
    map.insert("NAME", 2);
    EXPECT_EQ(map.entries(), 2U);
    int value = 0;
    EXPECT_FALSE(map.find("name", value));
    EXPECT_TRUE(map.find("Name", value));
    EXPECT_EQ(value, 1);
}

TEST(ValMap, TellsTheNullKeyFromTheEmptyOne) {
    ORVValMap<ORVString, int> map(&hashKeyORVString, 10);
    map.insert(ORVString(), 1);
    map.insert(ORVString::emptyString(), 2);
    EXPECT_EQ(*map.find(ORVString()), 1);
    EXPECT_EQ(*map.find(""), 2);
}

TEST(ValMap, IteratesInOrderOfBucketsAndThenOfInsertion) {
    Map map(&byFirstLetter, 4);
    map.insert("d1", 1);
    map.insert("b1", 2);
    map.insert("d2", 3);
    map.insert("a1", 4);
    map.insert("b2", 5);
    map.insert("e1", 6);  // bucket 4 modulo 4
    EXPECT_EQ(pairsOf(map), (Pairs{{"a1", 4}, {"e1", 6}, {"b1", 2}, {"b2", 5}, {"d1", 1}, {"d2", 3}}));
}

TEST(ValMap, TakesTheHashAsAnUnsignedNumber_WhenChoosingABucket) {
    Map map([](const ORVString& key) { return key == "high" ? 0xFFFFFFFFU : 1U; }, 10);
    map.insert("high", 1);  // 4294967295 modulo 10 is 5
    map.insert("low", 2);
    EXPECT_EQ(pairsOf(map), (Pairs{{"low", 2}, {"high", 1}}));
}

TEST(ValMap, MovesAPairToTheTailOfItsChain_WhenItIsReplaced) {
    Map map(&byFirstLetter, 3);
    map.insert("a1", 1);
    map.insert("a2", 2);
    map.insert("b1", 3);
    EXPECT_TRUE(map.insert("a1", 10));
    EXPECT_EQ(map.entries(), 3U);
    EXPECT_EQ(pairsOf(map), (Pairs{{"a2", 2}, {"a1", 10}, {"b1", 3}}));
    EXPECT_EQ(*map.find("a1"), 10);
}

TEST(ValMap, ReplacesAPair_WhenNamedByItsOwnKeyAndValue) {
    ORVValMap<ORVString, std::string> map(&byFirstLetter, 3);
    map.insert("a key that only the map keeps", "a value that is too long to be kept inside the string");
    ORVValMapIterator<ORVString, std::string> iterator(map);
    ASSERT_TRUE(++iterator);
    map.insert(iterator.key(), iterator.value());
    EXPECT_EQ(map.entries(), 1U);
    EXPECT_EQ(*map.find("a key that only the map keeps"),
              "a value that is too long to be kept inside the string");
}

TEST(ValMap, RemovesAPair_WhenNamedByItsOwnKey) {
    Map map(&byFirstLetter, 3);
    map.insert("a1", 1);
    map.insert("a2", 2);
    MapIterator iterator(map);
    ASSERT_TRUE(++iterator);
    EXPECT_TRUE(map.remove(iterator.key()));
    EXPECT_EQ(pairsOf(map), (Pairs{{"a2", 2}}));
}

TEST(ValMap, RemovesOnlyThePairOfTheKey) {
    Map map(&byFirstLetter, 3);
    map.insert("a1", 1);
    map.insert("a2", 2);
    map.insert("a3", 3);
    EXPECT_TRUE(map.remove("a2"));
    EXPECT_FALSE(map.remove("a2"));
    EXPECT_FALSE(map.remove("c"));
    EXPECT_EQ(map.entries(), 2U);
    EXPECT_EQ(pairsOf(map), (Pairs{{"a1", 1}, {"a3", 3}}));
}

TEST(ValMap, SkipsABucket_WhenItsLastPairWasRemoved) {
    Map map(&byFirstLetter, 3);
    map.insert("a", 1);
    map.insert("b", 2);
    map.insert("c", 3);
    EXPECT_TRUE(map.remove("b"));
    EXPECT_EQ(pairsOf(map), (Pairs{{"a", 1}, {"c", 3}}));
    map.insert("b", 4);
    EXPECT_EQ(pairsOf(map), (Pairs{{"a", 1}, {"b", 4}, {"c", 3}}));
}

TEST(ValMap, GivesTheChainBack_WhenTheLastPairOfABucketIsRemoved) {
    const ORVString key("b");
    Map map(&byFirstLetter, 3);
    map.insert("a", 1);
    map.insert(key, 2);
    map.remove(key);
    const long before = liveBlocks();
    map.insert(key, 2);
    EXPECT_GT(liveBlocks(), before);
    map.remove(key);
    EXPECT_EQ(liveBlocks(), before);
    map.insert(key, 2);
    map.retire(key);
    map.remove("c");
    EXPECT_EQ(liveBlocks(), before);
}

TEST(ValMap, ForgetsEverything_WhenCleared) {
    Map map(&byFirstLetter, 3);
    map.insert("a", 1);
    map.insert("b", 2);
    map.retire("b");
    map.clear();
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(map.find("a"), nullptr);
    EXPECT_EQ(pairsOf(map), Pairs{});
    map.insert("b", 3);
    EXPECT_EQ(pairsOf(map), (Pairs{{"b", 3}}));
}

TEST(ValMap, ReleasesTheHandlesItHolds_WhenReplacedRemovedClearedOrDestroyed) {
    struct Counted {
        int& alive;
        explicit Counted(int& count) : alive(count) { ++alive; }
        ~Counted() { --alive; }
    };
    int alive = 0;
    const auto make = [&alive] { return ORVSmrPtr<Counted>(new Counted(alive)); };
    {
        ORVValMap<ORVString, ORVSmrPtr<Counted>> map(&byFirstLetter, 3);
        map.insert("a", make());
        map.insert("a", make());
        EXPECT_EQ(alive, 1);
        map.remove("a");
        EXPECT_EQ(alive, 0);
        map.insert("a", make());
        map.insert("b", make());
        map.clear();
        EXPECT_EQ(alive, 0);
        map.insert("a", make());
    }
    EXPECT_EQ(alive, 0);
}

TEST(ValMap, StaysAsItIs_WhenCopyingTheValueThrows) {
    ORVValMap<ORVString, FragileValue> map(&byFirstLetter, 3);
    const FragileValue first(1);
    const FragileValue second(2);
    map.insert("a", first);
    FragileValue::copiesLeft = 0;
    EXPECT_THROW(map.insert("a", second), std::bad_alloc);
    FragileValue::copiesLeft = 0;
    EXPECT_THROW(map.insert("b", second), std::bad_alloc);
    FragileValue::copiesLeft = INT_MAX;
    EXPECT_EQ(map.entries(), 1U);
    EXPECT_EQ(map.find("a")->number, 1);
    EXPECT_EQ(map.find("b"), nullptr);
}

TEST(ValMap, FindsQuickly_WhenManyKeysDifferOnlyInLetterCase) {
    // A look-up that walked all keys with one folded hash would take minutes here.
    constexpr unsigned int letters = 16;
    ORVValMap<ORVString, unsigned int> map(&hashKeyORVStringToLower, 150);
    const auto variant = [](unsigned int bits) {
        std::string text(letters, 'a');
        for (unsigned int i = 0; i < letters; ++i) {
            text[i] = (bits >> i) & 1U ? 'A' : 'a';
        }
        return ORVString(text);
    };
    for (unsigned int bits = 0; bits < 1U << letters; ++bits) {
        map.insert(variant(bits), bits);
    }
    EXPECT_EQ(map.entries(), 1U << letters);
    for (unsigned int bits = 0; bits < 1U << letters; ++bits) {
        ASSERT_EQ(*map.find(variant(bits)), bits);
    }
}

TEST(ValMap, DoesAsAWalkOverTheChainsDoes_OverAHundredThousandRandomOperations) {
    constexpr std::size_t buckets = 7;
    std::mt19937 random(20261121);
    Map map(&hashKeyORVString, buckets);
    std::array<Pairs, buckets> chains;
    for (int step = 0; step < 100'000; ++step) {
        const std::string text = std::to_string(random() % 300);
        const ORVString key(text);
        Pairs& chain = chains[hashKeyORVString(key) % buckets];
        const auto pair =
            std::find_if(chain.begin(), chain.end(), [&](const auto& other) { return other.first == text; });
        const bool isThere = pair != chain.end();
        switch (random() % 4) {
            case 0:
                map.insert(key, step);
                if (isThere) {
                    chain.erase(pair);
                }
                chain.emplace_back(text, step);
                break;
            case 1:
                ASSERT_EQ(random() % 2 == 0 ? map.remove(key) : map.retire(key), isThere);
                if (isThere) {
                    chain.erase(pair);
                }
                break;
            default:
                ASSERT_EQ(map.find(key) != nullptr, isThere);
                ASSERT_TRUE(!isThere || *map.find(key) == pair->second);
        }
        if (step % 1000 == 0) {
            Pairs all;
            for (const Pairs& one : chains) {
                all.insert(all.end(), one.begin(), one.end());
            }
            ASSERT_EQ(pairsOf(map), all);
            ASSERT_EQ(map.entries(), all.size());
        }
    }
}

TEST(ValMap, TellsThePlacesOfPairsInTheOrderOfIteration) {
    Map map(&byFirstLetter, 3);
    for (const char* key : {"c", "a1", "b", "a2", "c"}) {
        map.insert(key, 0);
    }
    map.insert("a1", 1);
    const Pairs pairs = pairsOf(map);
    EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end(), [&map](const auto& left, const auto& right) {
        return map.placeOf(left.first.c_str()) < map.placeOf(right.first.c_str());
    }));
    EXPECT_LT(map.placeOf("a2"), map.placeOf("a1"));
    EXPECT_LT(map.placeOf("a1"), map.placeOf("b"));
}

TEST(ValMap, CostsTheSame_AtAHundredAndAtAMillionPairs) {
    const Effort small = effortAt(100);
    const Effort large = effortAt(1'000'000);
    // Six operations; each may hash the key for the bucket and for the index. A chain of 6,666 would show at
    // once.
    EXPECT_LE(small.hashes, 12U);
    EXPECT_LE(large.hashes, small.hashes);
    EXPECT_LE(small.comparisons, 12U);
    EXPECT_LE(large.comparisons, small.comparisons + 1);
}

TEST(ValMapIterator, HasNoStep_WhenTheMapIsEmpty) {
    const Map map(&byFirstLetter, 3);
    MapIterator iterator(map);
    EXPECT_FALSE(++iterator);
    EXPECT_FALSE(iterator());
}

TEST(ValMapIterator, StaysAtTheEndUntilReset) {
    Map map(&byFirstLetter, 3);
    map.insert("a", 1);
    MapIterator iterator(map);
    EXPECT_TRUE(iterator());
    EXPECT_EQ(iterator.key(), "a");
    EXPECT_EQ(iterator.value(), 1);
    EXPECT_FALSE(++iterator);
    EXPECT_FALSE(iterator());
    iterator.reset();
    EXPECT_TRUE(++iterator);
    EXPECT_EQ(iterator.key(), "a");
}

TEST(ValMapIterator, ChangesTheValueInPlace) {
    Map map(&byFirstLetter, 3);
    map.insert("a", 1);
    MapIterator iterator(map);
    ++iterator;
    iterator.value() = 2;
    EXPECT_EQ(*map.find("a"), 2);
}

TEST(ValMap, DoesAsAnotherMapDoes_OverAHundredThousandRandomOperations_WhenItIsLarge) {
    constexpr unsigned int pairs = 200'000;
    std::mt19937 random(20261122);
    Map map(&hashKeyORVString, 7);
    std::unordered_map<unsigned int, int> expected;
    const auto keyOf = [](unsigned int number) { return ORVString("key " + std::to_string(number)); };
    for (unsigned int number = 0; number < pairs; ++number) {
        map.insert(keyOf(number), 0);
        expected[number] = 0;
    }
    for (int step = 0; step < 100'000; ++step) {
        // Half of the keys are there at first.
        const auto number = static_cast<unsigned int>(random() % (2 * pairs));
        switch (random() % 4) {
            case 0:
                map.insert(keyOf(number), step);
                expected[number] = step;
                break;
            case 1:
                ASSERT_EQ(map.remove(keyOf(number)), expected.erase(number) == 1);
                break;
            default: {
                const int* value = map.find(keyOf(number));
                const auto pair = expected.find(number);
                ASSERT_EQ(value != nullptr, pair != expected.end());
                ASSERT_TRUE(!value || *value == pair->second);
            }
        }
    }
    EXPECT_EQ(map.entries(), expected.size());
}

TEST(ValMap, FindsEveryPair_WhenItShrankAndGrewAgain) {
    constexpr int pairs = 200'000;
    constexpr int few = 10;
    Map map(&hashKeyORVString, 7);
    for (int number = 0; number < pairs; ++number) {
        map.insert(ORVString(std::to_string(number)), number);
    }
    for (int number = few; number < pairs; ++number) {
        ASSERT_TRUE(map.remove(ORVString(std::to_string(number))));
    }
    for (int number = few; number < 2 * pairs; ++number) {
        map.insert(ORVString(std::to_string(number)), number);
    }
    for (int number = 0; number < 2 * pairs; ++number) {
        ASSERT_EQ(*map.find(ORVString(std::to_string(number))), number);
    }
}
