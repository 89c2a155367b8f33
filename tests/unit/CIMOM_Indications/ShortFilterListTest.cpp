#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMIndicationFilterList.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"
#include "tests/unit/CIMOM_Indications/WalkedFilterList.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Subscriber = WalkedFilterList::Subscriber;
using Filter = WalkedFilterList::Filter;
using Records = std::vector<std::pair<const CSubscriber*, unsigned int>>;
using Content = std::vector<std::pair<const CCIMOMIndicationFilter*, Records>>;

const ORVSmrPtr<IOrvoInstanceName> file =
    COrvoInstanceName::parse("root/cimv2:CIM_File.Id=\"a:b.c\",Name=\"d\"");

std::unique_ptr<CCIMOMIndicationFilterList> makeKeyedList() {
    return std::make_unique<CCIMOMIndicationFilterList>(
        file->getNameSpace(), file->getClassName() + ":" + file->getKeyProperties());
}

Content contentOf(const ORVValSlist<ORVSmrPtr<CCIMOMFilterSubscriberMap>>& maps) {
    Content content;
    for (const auto& map : maps) {
        Records records;
        for (const auto& record : *map->getSubscriberList()) {
            records.emplace_back(&record->subscriber(), record->getReferenceCount());
        }
        content.emplace_back(map->getIndicationFilter().Get(), records);
    }
    return content;
}

Content contentOf(const WalkedFilterList& walked) {
    Content content;
    for (const auto& map : walked.maps) {
        Records records;
        for (const auto& [subscriber, count] : map.subscribers) {
            records.emplace_back(subscriber.Get(), count);
        }
        content.emplace_back(map.filter.Get(), records);
    }
    return content;
}

/// A list that begins anew each time it is empty, so that it mostly holds one subscriber behind one filter.
class ShortFilterList : public testing::Test {
protected:
    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    // Two objects share an identity.
    const Subscriber& randomSubscriber() { return subscribers[below(4) == 0 ? below(3) : 0]; }
    const Filter& randomFilter() { return filters[below(8) == 0 ? below(3) : 0]; }

    void subscribe() {
        const Filter filter = randomFilter();
        const Subscriber subscriber = randomSubscriber();
        list->subscribe(filter, subscriber, file);
        walked.subscribe(filter, subscriber);
    }

    void unsubscribe() {
        const Filter filter = randomFilter();
        const Subscriber subscriber = randomSubscriber();
        log.clear();
        const bool isHeld = std::any_of(walked.maps.begin(), walked.maps.end(),
                                        [&](const auto& map) { return *map.filter == filter; });
        bool isEmpty = true;
        const bool expected = walked.unsubscribe(filter, subscriber);
        ASSERT_EQ(list->unsubscribe(filter, subscriber, isEmpty), expected);
        ASSERT_EQ(isEmpty, expected && walked.maps.empty());
        ASSERT_EQ(log.records().size(), isHeld && !expected ? 1U : 0U);
        if (isEmpty) {
            ASSERT_TRUE(list->getContents().instanceName.IsNull());
            renew();
        }
    }

    void removeSubscriber() {
        const CSubscriberID& id = *randomSubscriber()->identity();
        CCIMOMDeletedFilterRecord::List records(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
        bool isEmpty = false;
        list->removeSubscriber(id, records, isEmpty);
        const auto expected = walked.removeSubscriber(id);
        ASSERT_EQ(records->entries(), expected.size());
        for (unsigned int record = 0; record < records->entries(); ++record) {
            ASSERT_EQ(records->at(record)->getFilter()->getIndicationFilter().Get(), expected[record]);
            ASSERT_FALSE(records->at(record)->getFilter()->hasSubscribers());
            ASSERT_EQ(records->at(record)->getInstanceName()->toString(), file->toString());
        }
        ASSERT_EQ(isEmpty, walked.maps.empty());
        if (isEmpty) {
            ASSERT_EQ(list->getContents().instanceName->toString(), file->toString());
            renew();
        }
    }

    void notify() {
        const auto type =
            below(2) == 0 ? IOrvoIndication::IndicationCreation : IOrvoIndication::IndicationChange;
        const auto indication = makeIndication(makeObject("CIM_File"), type);
        list->notify(indication);
        WalkedFilterList::Deliveries taken;
        for (const Subscriber& subscriber : subscribers) {
            if (auto types = takeTypes(subscriber); !types.empty()) {
                taken[subscriber.Get()] = std::move(types);
            }
        }
        ASSERT_EQ(taken, walked.notify(indication));
    }

    void look() {
        if (below(10) == 0) {
            ASSERT_EQ(contentOf(*list->getFilterSubscriberMapList()), contentOf(walked));
            ASSERT_EQ(list->getFilterSubscriberMapList(), list->getContents().maps);
            ASSERT_EQ(list->getInstanceName()->toString(), file->toString());
        }
        ASSERT_EQ(contentOf(*list->getContents().maps), contentOf(walked));
        ASSERT_EQ(list->isEmpty(), walked.maps.empty());
        const CSubscriberID& id = *randomSubscriber()->identity();
        bool isThere = false;
        std::vector<const CSubscriberID*> identities;
        for (const auto& map : walked.maps) {
            for (const auto& record : map.subscribers) {
                isThere = isThere || *record.first->identity() == id;
                identities.push_back(record.first->identity());
            }
        }
        ASSERT_EQ(list->hasSubscriber(id), isThere);
        std::vector<const CSubscriberID*> visited;
        list->visitIdentities([&visited](const CSubscriberID& one) { visited.push_back(&one); });
        ASSERT_EQ(visited, identities);
    }

    void renew() {
        list = makeKeyedList();
        walked.maps.clear();
    }

    LogCapture log;
    std::mt19937 random{20261121};
    const std::vector<Subscriber> subscribers{makeSubscriber(1), makeSubscriber(2), makeSubscriber(1)};
    const std::vector<Filter> filters{
        makeFilter<CCIMOMCreationIndicationFilter>(), makeFilter<CCIMOMDestructionIndicationFilter>(),
        makeFilter<ScriptedFilter>(CCIMOMIndicationFilter::FilterRemoveAssociation)};
    std::unique_ptr<CCIMOMIndicationFilterList> list = makeKeyedList();
    WalkedFilterList walked;
};

}  // namespace

TEST_F(ShortFilterList, DoesAsAWalkDoes_OverAHundredThousandRandomOperations) {
    for (int step = 0; step < 100'000 && !HasFatalFailure(); ++step) {
        const unsigned int choice = below(100);
        if (choice < 30) {
            subscribe();
        } else if (choice < 60) {
            unsubscribe();
        } else if (choice < 70) {
            removeSubscriber();
        } else if (choice < 85) {
            notify();
        } else {
            look();
        }
    }
}

TEST_F(ShortFilterList, AnswersTheListItself_WheneverItIsAsked) {
    list->subscribe(filters[0], subscribers[0], file);
    const auto maps = list->getFilterSubscriberMapList();
    const ORVSmrPtr<CCIMOMFilterSubscriberMap> map = maps->at(0);
    list->subscribe(filters[0], subscribers[1], file);
    EXPECT_EQ(list->getFilterSubscriberMapList(), maps);
    EXPECT_EQ(maps->at(0), map);
    EXPECT_EQ(map->getSubscriberList()->entries(), 2U);
    EXPECT_EQ(list->getInstanceName(), list->getInstanceName());
}

TEST_F(ShortFilterList, LetsManyThreadsReadAndNotify_WhileOneAsksForItsMaps) {
    for (int round = 0; round < 50; ++round) {
        renew();
        list->subscribe(filters[0], subscribers[0], file);
        std::atomic<unsigned int> maps{0};
        {
            std::vector<std::jthread> threads;
            for (int thread = 0; thread < 4; ++thread) {
                threads.emplace_back([&] {
                    list->notify(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation));
                    maps += list->getFilterSubscriberMapList()->entries();
                    list->notify(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation));
                });
            }
        }
        EXPECT_EQ(maps, 4U);
        EXPECT_EQ(takeTypes(subscribers[0]).size(), 8U);
    }
}
