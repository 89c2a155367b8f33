#include "foundation/subscribers/CSubscriberList.h"

#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"

#include <gmock/gmock.h>

namespace {

using velm::test::makeIndication;
using velm::test::makeInstanceName;
using velm::test::makeObject;
using velm::test::makeSubscriber;
using velm::test::makeSubscriberID;
using velm::test::takeIndications;

using Entry = ORVSmrPtr<CSubscriberTableEntry>;

Entry makeEntry(const ORVSmrPtr<CSubscriber>& subscriber) {
    return Entry(new CSubscriberTableEntry(subscriber, false));
}

Entry makeListeningEntry(const ORVSmrPtr<CSubscriber>& subscriber) {
    Entry entry = makeEntry(subscriber);
    unsigned int count = 0;
    entry->getIndicationFilterProcessor()->subscribe(IOrvoIndication::IndicationChange, nullptr, nullptr,
                                                     &count);
    return entry;
}

TEST(SubscriberList, IsEmpty_UntilEntryIsAdded) {
    const auto name = makeInstanceName("CIM_DataFile");
    CSubscriberList list(name);
    EXPECT_TRUE(list.getInstanceName() == name);
    EXPECT_TRUE(list.isEmpty());
    list.addEntry(makeEntry(makeSubscriber()));
    EXPECT_FALSE(list.isEmpty());
}

TEST(SubscriberList, KeepsOrderOfAddition) {
    CSubscriberList list(nullptr);
    const Entry first = makeEntry(makeSubscriber(1));
    const Entry second = makeEntry(makeSubscriber(2));
    list.addEntry(first);
    list.addEntry(second);
    EXPECT_TRUE(list.getList()->at(0) == first);
    EXPECT_TRUE(list.getList()->at(1) == second);
}

TEST(SubscriberList, GivesListItself_NotCopy) {
    CSubscriberList list(nullptr);
    list.addEntry(makeEntry(makeSubscriber()));
    list.getList()->clear();
    EXPECT_TRUE(list.isEmpty());
}

TEST(SubscriberList, FindsFirstEntryOfIdentity) {
    CSubscriberList list(nullptr);
    const Entry wanted = makeEntry(makeSubscriber(2));
    list.addEntry(makeEntry(makeSubscriber(1)));
    list.addEntry(wanted);
    list.addEntry(makeEntry(makeSubscriber(2)));
    EXPECT_TRUE(list.lookup(*makeSubscriberID(2)) == wanted);
    EXPECT_TRUE(list.lookup(*makeSubscriberID(3)).IsNull());
}

TEST(SubscriberList, RemovesFirstEntryOfSameObjectOnly_WhenIdentitiesAreEqual) {
    CSubscriberList list(nullptr);
    const auto former = makeSubscriber(1);
    const auto subscriber = makeSubscriber(1);
    list.addEntry(makeEntry(former));
    list.addEntry(makeEntry(subscriber));
    list.addEntry(makeEntry(subscriber));
    EXPECT_TRUE(list.removeEntry(*subscriber));
    ASSERT_EQ(list.getList()->entries(), 2U);
    EXPECT_TRUE(list.getList()->at(0)->getSubscriber() == former);
    EXPECT_TRUE(list.removeEntry(*subscriber));
    EXPECT_FALSE(list.removeEntry(*subscriber));
    EXPECT_TRUE(list.removeEntry(*former));
    EXPECT_TRUE(list.isEmpty());
}

TEST(SubscriberList, NotifiesEveryEntry_AndAnswersWhetherOneQueued) {
    CSubscriberList list(nullptr);
    const auto indication = makeIndication(makeObject("CIM_DataFile"), IOrvoIndication::IndicationChange);
    EXPECT_FALSE(list.notify(indication));

    const auto one = makeSubscriber(1);
    const auto deaf = makeSubscriber(2);
    const auto other = makeSubscriber(3);
    list.addEntry(makeEntry(deaf));
    EXPECT_FALSE(list.notify(indication));
    list.addEntry(makeListeningEntry(one));
    list.addEntry(makeListeningEntry(other));
    list.addEntry(makeEntry(deaf));
    EXPECT_TRUE(list.notify(indication));
    EXPECT_EQ(takeIndications(one).size(), 1U);
    EXPECT_EQ(takeIndications(other).size(), 1U);
    EXPECT_EQ(takeIndications(deaf).size(), 0U);
}

}  // namespace
