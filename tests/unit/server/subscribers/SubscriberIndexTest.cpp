#include "foundation/subscribers/SubscriberIndex.h"

#include "foundation/subscribers/CSubscriber.h"
#include "tests/support/SubscriberBuilders.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Index = SubscriberIndex<CSubscriber>;
using List = Index::List;

/// The first subscriber with this identity, found by walking.
const CSubscriber* walk(const List& list, const CSubscriberID& id) {
    for (const ORVSmrPtr<CSubscriber>& subscriber : list) {
        if (*subscriber->identity() == id) {
            return subscriber.Get();
        }
    }
    return nullptr;
}

const CSubscriber* find(const Index& index, const CSubscriberID& id) {
    const Index::Position position = index.find(id);
    return position == Index::Position() ? nullptr : position->Get();
}

/// Fills `list` until it is long enough for an index.
void makeLong(Index& index, List& list) {
    for (std::uint32_t session = 0; session <= Index::shortList; ++session) {
        index.append(list, makeSubscriber(session));
    }
}

}  // namespace

TEST(SubscriberIndex, IsNotUsable_WhenTheListIsShort) {
    List list;
    Index index;
    for (std::uint32_t session = 0; session < Index::shortList; ++session) {
        index.append(list, makeSubscriber(session));
        EXPECT_FALSE(index.isUsable());
    }
    index.append(list, makeSubscriber(100));
    EXPECT_TRUE(index.isUsable());
}

TEST(SubscriberIndex, IsNotUsable_AsLongAsAnElementHasNoIdentity) {
    List list;
    Index index;
    makeLong(index, list);
    index.append(list, nullptr);
    EXPECT_FALSE(index.isUsable());
    const auto nobody = list.last();
    index.append(list, ORVSmrPtr<CSubscriber>(new CSubscriber(nullptr, "h", "1", nullptr)));
    index.erase(list, nobody);
    EXPECT_FALSE(index.isUsable());
    index.erase(list, list.last());
    EXPECT_TRUE(index.isUsable());
}

TEST(SubscriberIndex, FindsTheFirstOfTwoWithOneIdentity) {
    List list;
    Index index;
    makeLong(index, list);
    index.append(list, makeSubscriber(100));
    const auto first = list.last();
    index.append(list, makeSubscriber(100));
    EXPECT_EQ(index.find(*makeSubscriberID(100)), first);
    index.erase(list, first);
    EXPECT_EQ(index.find(*makeSubscriberID(100)), list.last());
}

TEST(SubscriberIndex, AgreesWithAWalk_OverAHundredThousandRandomOperations) {
    std::mt19937 random(20261121);
    List list;
    Index index;
    makeLong(index, list);
    for (int step = 0; step < 100'000; ++step) {
        const ORVSmrPtr<CSubscriberID> id = makeSubscriberID(static_cast<std::uint32_t>(random() % 150));
        if (random() % 2 == 0 && list.entries() < 300) {
            index.append(list, makeSubscriber(id->getSessionID()));
        } else if (const auto position = index.find(*id); position != list.end()) {
            index.erase(list, position);
        }
        ASSERT_EQ(find(index, *id), walk(list, *id));
    }
}
