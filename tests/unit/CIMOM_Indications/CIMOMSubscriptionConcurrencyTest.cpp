// Several threads report the destruction of one instance while others report about it and a writer comes back
// to it. The sanitizers watch the memory of the list that goes; the assertions watch what was delivered.

#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMSubscription.h"
#include "foundation/utilities/ORVReaderWriterLock.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <map>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Reports = std::vector<ORVSmrPtr<IOrvoIndication>>;

constexpr int destroyers = 4;
constexpr int observers = 2;
constexpr int reportsPerObserver = 20;

/// How often a subscriber received each reported object.
std::map<const IOrvoObject*, int> countDeliveries(const ORVSmrPtr<CSubscriber>& subscriber) {
    std::map<const IOrvoObject*, int> counts;
    for (const auto& indication : takeIndications(subscriber)) {
        ++counts[indication->getObject().Get()];
    }
    return counts;
}

class ConcurrentDestruction : public testing::Test {
protected:
    void subscribe(const ORVSmrPtr<CSubscriber>& who, const ORVSmrPtr<IOrvoInstanceName>& instance) {
        lock.getWriteLock();
        table.subscribe(makeFilter<CCIMOMDestructionIndicationFilter>(), who, makeReference(instance));
        lock.releaseWriteLock();
    }

    void notify(const ORVSmrPtr<IOrvoIndication>& indication) {
        lock.getReadLock();
        table.notify(indication, false);
        lock.releaseReadLock();
    }

    Reports makeReports(int count, const ORVSmrPtr<IOrvoInstanceName>& instance,
                        IOrvoIndication::IndicationType type) {
        Reports reports;
        for (int i = 0; i < count; ++i) {
            reports.push_back(makeIndication(makeObject(instance), type));
        }
        return reports;
    }

    /// Every thread reports one destruction of `doomed`, while others report on both instances.
    void runRound(const Reports& destructions, const Reports& doomedReports, const Reports& stayingReports) {
        std::latch start(destroyers + observers);
        std::vector<std::thread> threads;
        for (const auto& destruction : destructions) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                notify(destruction);
            });
        }
        for (std::size_t observer = 0; observer < observers; ++observer) {
            threads.emplace_back([&, observer] {
                start.arrive_and_wait();
                for (std::size_t i = observer; i < doomedReports.size(); i += observers) {
                    notify(doomedReports[i]);
                    notify(stayingReports[i]);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    ORVReaderWriterLock lock;
    CCIMOMSubscription table{10};
    const ORVSmrPtr<IOrvoInstanceName> doomed = makeInstanceName("CIM_File", "doomed");
    const ORVSmrPtr<IOrvoInstanceName> staying = makeInstanceName("CIM_File", "staying");
    const ORVSmrPtr<CSubscriber> first = makeSubscriber(1);
    const ORVSmrPtr<CSubscriber> second = makeSubscriber(2);
    const ORVSmrPtr<CSubscriber> bystander = makeSubscriber(3);
};

TEST_F(ConcurrentDestruction, ReachesTheSubscribersAtLeastOnceAndByEachReportAtMostOnce) {
    subscribe(bystander, staying);
    for (int round = 0; round < 100; ++round) {
        subscribe(first, doomed);
        subscribe(second, doomed);
        const Reports destructions = makeReports(destroyers, doomed, IOrvoIndication::IndicationDestruction);
        const int reports = observers * reportsPerObserver;
        const Reports doomedReports = makeReports(reports, doomed, IOrvoIndication::IndicationCreation);
        const Reports stayingReports = makeReports(reports, staying, IOrvoIndication::IndicationCreation);
        runRound(destructions, doomedReports, stayingReports);

        for (const auto& subscriber : {first, second}) {
            auto counts = countDeliveries(subscriber);
            int heard = 0;
            for (const auto& destruction : destructions) {
                heard += counts[destruction->getObject().Get()];
            }
            EXPECT_GE(heard, 1);
            EXPECT_TRUE(std::ranges::all_of(counts, [](const auto& count) { return count.second <= 1; }));
        }
        EXPECT_EQ(countDeliveries(bystander).size(), static_cast<std::size_t>(reports));
        EXPECT_EQ(table.getInstanceMapList()->entries(), 1U);
    }
}

TEST_F(ConcurrentDestruction, LeavesTheTableWhole_WhenSubscriptionsComeBackMeanwhile) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < destroyers; ++i) {
        threads.emplace_back([&] {
            while (!done.load()) {
                notify(makeIndication(makeObject(doomed), IOrvoIndication::IndicationDestruction));
            }
        });
    }
    for (int i = 0; i < 300; ++i) {
        subscribe(first, doomed);
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto counts = countDeliveries(first);
    EXPECT_TRUE(std::ranges::all_of(counts, [](const auto& count) { return count.second == 1; }));

    subscribe(first, doomed);
    notify(makeIndication(makeObject(doomed), IOrvoIndication::IndicationDestruction));
    EXPECT_EQ(countDeliveries(first).size(), 1U);
    EXPECT_TRUE(table.getInstanceMapList()->isEmpty());
}

}  // namespace
