#include "CIMOM_Indications/FilterIndex.h"

#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMIndicationFilterList.h"
#include "CIMOM_Indications/CIMOMLeaveRelationshipIndicationFilter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"
#include "tests/unit/CIMOM_Indications/WalkedFilterList.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = WalkedFilterList::Filter;
using Subscriber = WalkedFilterList::Subscriber;
using Indication = WalkedFilterList::Indication;
using Deliveries = WalkedFilterList::Deliveries;

class LongFilterList : public testing::Test {
protected:
    LongFilterList() {
        for (std::uint32_t session = 0; session < 24; ++session) {
            // Some share an identity with another object.
            subscribers.push_back(makeSubscriber(session % 20));
        }
    }

    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random() % limit); }

    ORVString randomKeys() {
        const unsigned int number = below(40);
        return number < 4
                   ? ORVString()
                   : makeInstanceName("CIM_File", std::to_string(number % 12).c_str())->getKeyProperties();
    }

    ORVSmrPtr<CCIMOMClass> randomClass() {
        const ORVSmrPtr<CCIMOMClass> nodes[] = {files.element, files.file, files.dataFile, files.directory};
        return nodes[below(4)];
    }

    Filter randomFilter() {
        const auto between = [this]<class Kind>(std::type_identity<Kind>) {
            return makeFilter<Kind>(randomClass(), randomKeys(), randomClass(), randomKeys());
        };
        switch (below(16)) {
            case 0:
                return makeFilter<CCIMOMCreationIndicationFilter>();
            case 1:
                return makeFilter<ScriptedFilter>(CCIMOMIndicationFilter::FilterRemoveAssociation);
            case 2:
            case 3:
                return between(std::type_identity<CCIMOMLeaveRelationshipIndicationFilter>());
            case 4:
            case 5:
                return between(std::type_identity<CCIMOMEnterAssociationIndicationFilter>());
            default:
                return between(std::type_identity<CCIMOMAdditionIndicationFilter>());
        }
    }

    Filter heldOrRandomFilter() {
        return walked.maps.empty() || below(3) == 0 ? randomFilter()
                                                    : walked.maps[below(walked.maps.size())].filter;
    }

    Subscriber randomSubscriber() { return subscribers[below(subscribers.size())]; }

    Indication randomIndication() {
        const IOrvoIndication::IndicationType types[] = {IOrvoIndication::IndicationCreation,
                                                         IOrvoIndication::IndicationDestruction,
                                                         IOrvoIndication::IndicationAddition};
        const auto end = [this](const char* name) {
            return makeInstanceName(name, std::to_string(below(12)).c_str());
        };
        const ORVSmrPtr<IOrvoObject> object =
            below(8) == 0 ? makeObject("CIM_File")
                          : makeAssociation("CIM_Contains", end("CIM_Directory"),
                                            end(below(2) == 0 ? "CIM_DataFile" : "CIM_File"));
        return makeIndication(object, types[below(3)]);
    }

    Deliveries taken() {
        Deliveries deliveries;
        for (const Subscriber& subscriber : subscribers) {
            if (auto types = takeTypes(subscriber); !types.empty()) {
                deliveries[subscriber.Get()] = std::move(types);
            }
        }
        return deliveries;
    }

    void subscribe() {
        const Filter filter = heldOrRandomFilter();
        const Subscriber subscriber = randomSubscriber();
        list.subscribe(filter, subscriber, nullptr);
        walked.subscribe(filter, subscriber);
    }

    void unsubscribe() {
        const Filter filter = heldOrRandomFilter();
        const Subscriber subscriber = randomSubscriber();
        bool isEmpty = false;
        ASSERT_EQ(list.unsubscribe(filter, subscriber, isEmpty), walked.unsubscribe(filter, subscriber));
        if (isEmpty) {
            ASSERT_TRUE(walked.maps.empty());
        }
    }

    void removeSubscriber() {
        const ORVSmrPtr<CSubscriberID> id = randomSubscriber()->getSubscriberID();
        CCIMOMDeletedFilterRecord::List records(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
        bool isEmpty = false;
        list.removeSubscriber(*id, records, isEmpty);
        const auto expected = walked.removeSubscriber(*id);
        std::vector<const CCIMOMIndicationFilter*> emptied;
        for (const auto& record : *records) {
            emptied.push_back(record->getFilter()->getIndicationFilter().Get());
        }
        ASSERT_EQ(emptied, expected);
        ASSERT_EQ(isEmpty, walked.maps.empty());
    }

    void notify() {
        const Indication indication = randomIndication();
        list.notify(indication);
        ASSERT_EQ(taken(), walked.notify(indication));
    }

    void expectTheSameContent() {
        ASSERT_EQ(list.getFilterSubscriberMapList()->entries(), walked.maps.size());
        std::size_t index = 0;
        for (const auto& map : *list.getFilterSubscriberMapList()) {
            const WalkedFilterList::Map& expected = walked.maps[index++];
            ASSERT_EQ(map->getIndicationFilter(), expected.filter);
            std::vector<std::pair<const CSubscriber*, unsigned int>> records;
            for (const auto& record : *map->getSubscriberList()) {
                records.emplace_back(&record->subscriber(), record->getReferenceCount());
            }
            std::vector<std::pair<const CSubscriber*, unsigned int>> wanted;
            for (const auto& [subscriber, count] : expected.subscribers) {
                wanted.emplace_back(subscriber.Get(), count);
            }
            ASSERT_EQ(records, wanted);
        }
    }

    LogCapture log;
    FileTree files;
    std::mt19937 random{20261121};
    std::vector<Subscriber> subscribers;
    CCIMOMIndicationFilterList list;
    WalkedFilterList walked;
};

}  // namespace

TEST_F(LongFilterList, DoesAsAWalkDoes_OverAHundredThousandRandomOperations) {
    std::size_t longest = 0;
    for (int step = 0; step < 100'000 && !HasFatalFailure(); ++step) {
        const unsigned int choice = below(1000);
        if (choice < 500) {
            subscribe();
        } else if (choice < 970) {
            unsubscribe();
        } else if (choice < 980) {
            removeSubscriber();
        } else {
            notify();
        }
        if (step % 1000 == 0) {
            expectTheSameContent();
        }
        longest = std::max(longest, walked.maps.size());
    }
    expectTheSameContent();
    EXPECT_GT(longest, 50U);
}

TEST_F(LongFilterList, AsksOnlyTheFiltersThatNameAnEnd_WhenItIsLong) {
    std::vector<std::string> asked;
    const ORVString other = makeInstanceName("CIM_File", "other")->getKeyProperties();
    for (int number = 0; number < 1000; ++number) {
        const ORVString keys =
            makeInstanceName("CIM_File", std::to_string(number).c_str())->getKeyProperties();
        list.subscribe(makeFilter<CCIMOMAdditionIndicationFilter>(files.file, keys, files.directory, other),
                       subscribers[0], nullptr);
    }
    velm::FilterIndex index;
    auto& maps = *list.getFilterSubscriberMapList();
    for (auto position = maps.begin(); position != maps.end(); ++position) {
        index.add(position);
    }
    const Indication indication =
        makeIndication(makeAssociation("CIM_Contains", makeInstanceName("CIM_Directory", "other"),
                                       makeInstanceName("CIM_File", "77")),
                       IOrvoIndication::IndicationCreation);
    velm::RoutedIndication routed(indication);
    const auto places = index.mayMatch(routed);
    ASSERT_EQ(places.size(), 1U);
    EXPECT_TRUE(places[0].association->matches(routed));
}

TEST_F(LongFilterList, RemovesEitherOfTwoSubscribers_WhenTheirHashesAreEqual) {
    const auto makeHashed = [](unsigned int number) {
        return ORVSmrPtr<CSubscriberID>(
            new CSubscriberID("127.0.0.1", ORVString(std::to_string(number)), number));
    };
    std::unordered_map<std::uint32_t, unsigned int> numbers;
    ORVSmrPtr<CSubscriberID> one;
    ORVSmrPtr<CSubscriberID> other;
    for (unsigned int number = 1; other.IsNull(); ++number) {
        one = makeHashed(number);
        if (const auto [known, isNew] = numbers.emplace(hashKeySubscriberID(*one), number); !isNew) {
            other = makeHashed(known->second);
        }
    }
    std::vector<Filter> filters;
    for (int number = 0; number < 40; ++number) {
        const ORVString keys =
            makeInstanceName("CIM_File", std::to_string(number).c_str())->getKeyProperties();
        filters.push_back(
            makeFilter<CCIMOMAdditionIndicationFilter>(files.file, keys, files.directory, ORVString()));
    }
    const auto isRemovedBesideTheOther = [&](const ORVSmrPtr<CSubscriberID>& first,
                                             const ORVSmrPtr<CSubscriberID>& second, bool isFilterShared) {
        CCIMOMIndicationFilterList both;
        for (const Filter& filter : filters) {
            both.subscribe(filter, makeSubscriber(), nullptr);
        }
        const auto subscribe = [&](const ORVSmrPtr<CSubscriberID>& id, const Filter& filter) {
            both.subscribe(filter, ORVSmrPtr<CSubscriber>(new CSubscriber(id, "s", "1", nullptr)), nullptr);
        };
        subscribe(first, filters[0]);
        subscribe(second, filters[isFilterShared ? 0 : 1]);
        CCIMOMDeletedFilterRecord::List records(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
        bool isEmpty = false;
        both.removeSubscriber(*first, records, isEmpty);
        const bool isThere = both.hasSubscriber(*second) && !both.hasSubscriber(*first);
        both.removeSubscriber(*second, records, isEmpty);
        std::size_t left = 0;
        for (const auto& map : *both.getFilterSubscriberMapList()) {
            left += map->getSubscriberList()->entries();
        }
        return isThere && left == filters.size();
    };
    EXPECT_TRUE(isRemovedBesideTheOther(one, other, true));
    EXPECT_TRUE(isRemovedBesideTheOther(one, other, false));
    EXPECT_TRUE(isRemovedBesideTheOther(other, one, false));
}
