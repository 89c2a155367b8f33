#include "CIMOM_Indications/SubscriberPlaces.h"

#include "tests/support/SubscriberBuilders.h"

#include <map>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;
using Table = ORVValMap<ORVString, int>;

ORVString keyOf(unsigned int number) {
    return std::to_string(number).c_str();
}

/// The keys for which `wanted` says yes, found by walking the table.
template <class Predicate>
std::vector<std::string> walk(const Table& table, Predicate wanted) {
    std::vector<std::string> keys;
    for (ORVValMapIterator<ORVString, int> pair(table); ++pair;) {
        if (std::string key(pair.key().view()); wanted(key)) {
            keys.push_back(std::move(key));
        }
    }
    return keys;
}

std::vector<std::string> textsOf(const std::vector<ORVString>& keys) {
    std::vector<std::string> texts;
    for (const ORVString& key : keys) {
        texts.emplace_back(key.view());
    }
    return texts;
}

}  // namespace

TEST(SubscriberPlaces, NamesTheListsInTheOrderOfTheTable) {
    Table table(&hashKeyORVString, 3);
    velm::SubscriberPlaces places;
    for (unsigned int number = 0; number < 20; ++number) {
        table.insert(keyOf(number), 0);
    }
    for (unsigned int number = 20; number-- > 0;) {
        places.add(*makeSubscriberID(), keyOf(number));
    }
    EXPECT_EQ(textsOf(places.keysOf(*makeSubscriberID(), table)),
              walk(table, [](const std::string&) { return true; }));
}

TEST(SubscriberPlaces, NamesNoList_WhenTheSubscriberIsForgotten) {
    Table table(&hashKeyORVString, 3);
    table.insert("1", 0);
    velm::SubscriberPlaces places;
    places.add(*makeSubscriberID(), "1");
    EXPECT_THAT(textsOf(places.keysOf(*makeSubscriberID(), table)), ElementsAre("1"));
    EXPECT_THAT(textsOf(places.keysOf(*makeSubscriberID(), table)), ElementsAre("1"));
    places.forget(*makeSubscriberID());
    EXPECT_THAT(places.keysOf(*makeSubscriberID(), table), IsEmpty());
    places.forget(*makeSubscriberID());
}

TEST(SubscriberPlaces, LeavesOutListsThatAreGone) {
    Table table(&hashKeyORVString, 3);
    table.insert("here", 0);
    table.insert("retired", 0);
    table.retire("retired");
    velm::SubscriberPlaces places;
    places.add(*makeSubscriberID(), "gone");
    places.add(*makeSubscriberID(), "retired");
    places.add(*makeSubscriberID(), "here");
    EXPECT_THAT(textsOf(places.keysOf(*makeSubscriberID(), table)), ElementsAre("here"));
}

TEST(SubscriberPlaces, MissesNoList_WhenAnotherOfTheSameHashIsLeft) {
    std::unordered_map<std::uint32_t, ORVString> keys;
    ORVString one;
    ORVString other;
    for (unsigned int number = 0; other.isNull(); ++number) {
        one = keyOf(number);
        if (const auto [known, isNew] = keys.emplace(hashKeyORVString(one), one); !isNew) {
            other = known->second;
        }
    }
    Table table(&hashKeyORVString, 3);
    table.insert(one, 0);
    table.insert(other, 0);
    velm::SubscriberPlaces places;
    places.add(*makeSubscriberID(), one);
    places.add(*makeSubscriberID(), other);
    places.remove(*makeSubscriberID(), one, table);
    EXPECT_THAT(textsOf(places.keysOf(*makeSubscriberID(), table)), testing::Contains(other.data()));

    places.add(*makeSubscriberID(), other);
    table.remove(one);
    places.remove(*makeSubscriberID(), other, table);
    EXPECT_THAT(places.keysOf(*makeSubscriberID(), table), IsEmpty());
}

TEST(SubscriberPlaces, AgreesWithAWalk_OverAHundredThousandRandomOperations) {
    std::mt19937 random(20261121);
    const auto below = [&random](std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    };
    Table table(&hashKeyORVString, 7);
    velm::SubscriberPlaces places;
    std::map<std::uint32_t, std::set<std::string>> model;
    for (int step = 0; step < 100'000; ++step) {
        const std::uint32_t session = below(30);
        const ORVString key = keyOf(below(200));
        const ORVSmrPtr<CSubscriberID> id = makeSubscriberID(session);
        switch (below(5)) {
            case 0:
            case 1:
                table.insert(key, 0);
                places.add(*id, key);
                model[session].insert(key.data());
                break;
            case 2:
                places.remove(*id, key, table);
                model[session].erase(key.data());
                break;
            case 3:
                table.remove(key);
                break;
            default:
                ASSERT_EQ(textsOf(places.keysOf(*id, table)), walk(table, [&](const std::string& text) {
                              return model[session].contains(text);
                          }));
                places.forget(*id);
                model.erase(session);
        }
    }
}
