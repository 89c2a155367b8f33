#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/subscribers/CSubscriberList.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Entry = ORVSmrPtr<CSubscriberTableEntry>;
using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
using Outcome = CSubscriberList::Outcome;
using Subscriber = ORVSmrPtr<CSubscriber>;

const ORVSmrPtr<IOrvoInstanceName> file = makeInstanceName("CIM_DataFile");

Filter makeFilter(const char* property) {
    Filter filter(new COrvoSubscriptionFilter);
    filter->setClassName("CIM_DataFile");
    filter->addProperty(property);
    return filter;
}

/// Rows that are objects from the beginning and are walked: what the list must not differ from.
struct WalkedRows {
    std::vector<Entry> rows;

    std::vector<Entry>::iterator find(const CSubscriberID& id) {
        return std::find_if(rows.begin(), rows.end(),
                            [&id](const Entry& row) { return *row->identity() == id; });
    }

    unsigned int subscribe(const Subscriber& subscriber, IOrvoIndication::IndicationType type,
                           const Filter& filter) {
        auto row = find(*subscriber->identity());
        if (row == rows.end()) {
            row = rows.insert(row, Entry(new CSubscriberTableEntry(subscriber, false)));
        }
        unsigned int count = 77;
        (*row)->subscribe(type, filter, Filter(new COrvoSubscriptionFilter), &count);
        return count;
    }

    Outcome unsubscribe(const CSubscriberID& id, IOrvoIndication::IndicationType type, const Filter& filter,
                        unsigned int& count) {
        const auto row = find(id);
        if (row == rows.end()) {
            return Outcome::noRow;
        }
        (*row)->unsubscribe(type, filter, Filter(new COrvoSubscriptionFilter), &count);
        if ((*row)->willTriggerNotification()) {
            return Outcome::rowStays;
        }
        rows.erase(row);
        return Outcome::rowRemoved;
    }
};

void expectEqual(const CSubscriberTableEntry& one, const CSubscriberTableEntry& other) {
    ASSERT_EQ(one.getSubscriber(), other.getSubscriber());
    ASSERT_EQ(one.isClassBased(), other.isClassBased());
    ASSERT_EQ(one.willTriggerNotification(), other.willTriggerNotification());
    const COrvoIndicationFilterProcessor left = one.getWants();
    const COrvoIndicationFilterProcessor right = other.getWants();
    ASSERT_EQ(left.getChangeSubscriptionReferenceCount(), right.getChangeSubscriptionReferenceCount());
    ASSERT_EQ(left.getAdditionSubscriptionReferenceCount(), right.getAdditionSubscriptionReferenceCount());
    ASSERT_EQ(left.getChangeFilter().IsNull(), right.getChangeFilter().IsNull());
}

/// A list that begins anew each time it is empty, so that it mostly holds one row.
class ShortSubscriberList : public testing::Test {
protected:
    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    // Two objects share an identity.
    const Subscriber& randomSubscriber() { return subscribers.at(below(4) == 0 ? below(3) : 0); }
    IOrvoIndication::IndicationType randomType() {
        return std::array{IOrvoIndication::IndicationChange, IOrvoIndication::IndicationAddition,
                          static_cast<IOrvoIndication::IndicationType>(3)}
            .at(below(8) == 0 ? below(3) : 0);
    }
    const Filter& randomFilter() { return filters.at(below(8) == 0 ? below(3) : 0); }

    void subscribe() {
        const Subscriber subscriber = randomSubscriber();
        const auto type = randomType();
        const Filter filter = type == 3 ? filters[0] : randomFilter();
        unsigned int count = 77;
        list->subscribe(subscriber, false, type, filter, Filter(new COrvoSubscriptionFilter), &count);
        ASSERT_EQ(count, walked.subscribe(subscriber, type, filter));
    }

    void unsubscribe() {
        const CSubscriberID& id = *randomSubscriber()->identity();
        const auto type = randomType();
        const Filter filter = randomFilter();
        unsigned int count = 1;
        unsigned int expected = 1;
        ASSERT_EQ(list->unsubscribe(id, type, filter, Filter(new COrvoSubscriptionFilter), &count),
                  walked.unsubscribe(id, type, filter, expected));
        ASSERT_EQ(count, expected);
    }

    void take() {
        const CSubscriberID& id = *randomSubscriber()->identity();
        const Entry taken = list->takeEntry(id);
        const auto row = walked.find(id);
        ASSERT_EQ(taken.IsNull(), row == walked.rows.end());
        if (row != walked.rows.end()) {
            expectEqual(*taken, **row);
            walked.rows.erase(row);
        }
    }

    void changeRows() {
        if (below(3) != 0) {
            const Subscriber& subscriber = randomSubscriber();
            const auto row = std::find_if(walked.rows.begin(), walked.rows.end(), [&](const Entry& entry) {
                return entry->getSubscriber() == subscriber;
            });
            ASSERT_EQ(list->removeEntry(*subscriber), row != walked.rows.end());
            if (row != walked.rows.end()) {
                walked.rows.erase(row);
            }
            return;
        }
        const Subscriber& subscriber = randomSubscriber();
        list->addEntry(Entry(new CSubscriberTableEntry(subscriber, false)));
        walked.rows.push_back(Entry(new CSubscriberTableEntry(subscriber, false)));
    }

    void notify() {
        const auto indication = makeIndication(makeObject("CIM_DataFile"), randomType());
        const bool isQueued = list->notify(indication);
        const auto taken = takeAll();
        bool expected = false;
        for (const Entry& row : walked.rows) {
            expected = row->notify(indication) || expected;
        }
        ASSERT_EQ(isQueued, expected);
        ASSERT_EQ(taken, takeAll());
    }

    std::vector<std::size_t> takeAll() {
        std::vector<std::size_t> counts;
        for (const Subscriber& subscriber : subscribers) {
            counts.push_back(takeIndications(subscriber).size());
        }
        return counts;
    }

    void expectRows(const CSubscriberList::EntryList& rows) {
        ASSERT_EQ(rows->entries(), walked.rows.size());
        for (unsigned int row = 0; row < rows->entries(); ++row) {
            expectEqual(*rows->at(row), *walked.rows[row]);
        }
    }

    void look() {
        const CSubscriberID& id = *randomSubscriber()->identity();
        const auto row = walked.find(id);
        if (below(10) == 0) {
            expectRows(list->getList());
            ASSERT_EQ(list->getList(), list->getRows());
            ASSERT_EQ(list->lookup(id).IsNull(), row == walked.rows.end());
        }
        expectRows(list->getRows());
        ASSERT_EQ(list->isEmpty(), walked.rows.empty());
        ASSERT_EQ(list->hasRow(id), row != walked.rows.end());
        std::vector<const CSubscriberID*> visited;
        list->visitIdentities([&visited](const CSubscriberID& one) { visited.push_back(&one); });
        std::vector<const CSubscriberID*> identities;
        for (const Entry& entry : walked.rows) {
            identities.push_back(entry->identity());
        }
        ASSERT_EQ(visited, identities);
    }

    std::mt19937 random{20261121};
    const std::vector<Subscriber> subscribers{makeSubscriber(1), makeSubscriber(2), makeSubscriber(1)};
    const std::vector<Filter> filters{nullptr, makeFilter("Size"), makeFilter("Mode")};
    ORVSmrPtr<CSubscriberList> list = CSubscriberList::ofInstance(file, file->toString());
    WalkedRows walked;
};

}  // namespace

TEST_F(ShortSubscriberList, DoesAsAWalkDoes_OverAHundredThousandRandomOperations) {
    for (int step = 0; step < 100'000 && !HasFatalFailure(); ++step) {
        const unsigned int choice = below(100);
        if (choice < 28) {
            subscribe();
        } else if (choice < 60) {
            unsubscribe();
        } else if (choice < 67) {
            take();
        } else if (choice < 70) {
            changeRows();
        } else if (choice < 85) {
            notify();
        } else {
            look();
        }
        if (list->isEmpty()) {
            ASSERT_TRUE(walked.rows.empty());
            list = CSubscriberList::ofInstance(file, file->toString());
        }
    }
}

TEST_F(ShortSubscriberList, AnswersAnEqualNameEachTime_WhenItKeptItsText) {
    const auto name = list->getInstanceName();
    EXPECT_EQ(name->toString(), file->toString());
    EXPECT_EQ(name->getNameSpace(), file->getNameSpace());
    EXPECT_EQ(list->getInstanceName(), name);
}

TEST_F(ShortSubscriberList, KeepsTheNameItself_WhenItsTextDoesNotTellItsKeys) {
    const ORVSmrPtr<IOrvoInstanceName> numbered = COrvoInstanceName::parse("root/cimv2:CIM_DataFile.Id=7");
    const auto kept = CSubscriberList::ofInstance(numbered, numbered->toString());
    EXPECT_EQ(kept->getInstanceName(), numbered);
}

TEST_F(ShortSubscriberList, AnswersTheListItself_WheneverItIsAsked) {
    unsigned int count = 0;
    list->subscribe(subscribers[0], false, IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
    const auto rows = list->getList();
    const Entry row = rows->at(0);
    list->subscribe(subscribers[1], false, IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
    EXPECT_EQ(list->getList(), rows);
    EXPECT_EQ(rows->at(0), row);
    EXPECT_EQ(rows->entries(), 2U);
    EXPECT_EQ(list->lookup(*subscribers[0]->identity()), row);
}

TEST_F(ShortSubscriberList, LetsManyThreadsReadAndNotify_WhileOneAsksForItsRows) {
    for (int round = 0; round < 50; ++round) {
        list = CSubscriberList::ofInstance(file, file->toString());
        unsigned int count = 0;
        list->subscribe(subscribers[0], false, IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
        std::atomic<unsigned int> rows{0};
        {
            std::vector<std::jthread> threads;
            for (int thread = 0; thread < 4; ++thread) {
                threads.emplace_back([&] {
                    const auto indication =
                        makeIndication(makeObject("CIM_DataFile"), IOrvoIndication::IndicationChange);
                    list->notify(indication);
                    rows += list->getList()->entries();
                    list->notify(indication);
                    EXPECT_EQ(list->getInstanceName()->toString(), file->toString());
                });
            }
        }
        EXPECT_EQ(rows, 4U);
        EXPECT_EQ(takeIndications(subscribers[0]).size(), 8U);
    }
}
