#include "foundation/services/VELMConfigManager.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <thread>

namespace velm::test {
namespace {

using IndicationManagerLifecycle = IndicationManagerTest;

TEST_F(IndicationManagerLifecycle, AnswersFalseAndQueuesNothing_WhenNeverEnabled) {
    manager->disableIndications();
    subscribeClass(makeID(), "DataFile", IOrvoIndication::IndicationCreation);
    log.clear();

    EXPECT_FALSE(manager->getIndicationsEnabled());
    EXPECT_FALSE(manager->notify(makeIndication(makeObject(file), IOrvoIndication::IndicationCreation)));

    EXPECT_TRUE(takeQueued(makeID()).empty());
    EXPECT_TRUE(log.records().empty());
}

TEST_F(IndicationManagerLifecycle, StartsDisabled) {
    CIndicationManager fresh(server);
    EXPECT_FALSE(fresh.getIndicationsEnabled());
    fresh.enableIndications();
    EXPECT_TRUE(fresh.getIndicationsEnabled());
    fresh.disableIndications();
    EXPECT_FALSE(fresh.getIndicationsEnabled());
}

TEST_F(IndicationManagerLifecycle, GivesProviderCalls600Seconds_WhenNothingIsConfigured) {
    EXPECT_EQ(inspect(*manager).transactionTimeout(), 600);
}

TEST_F(IndicationManagerLifecycle, TakesTheTimeOutOfProviderCallsFromTheConfiguration) {
    VELMConfigManager::getInstance()->setString("VELM", "CimTransactionTimeout", "30");
    CIndicationManager configured(server);
    EXPECT_EQ(inspect(configured).transactionTimeout(), 30);
}

TEST_F(IndicationManagerLifecycle, IdentifiesTheRunByTheTimeOfConstruction) {
    const auto before = static_cast<ORVuint32>(std::time(nullptr));
    CIndicationManager fresh(server);
    const auto after = static_cast<ORVuint32>(std::time(nullptr));

    const ORVuint32 session = inspect(fresh).serverSessionID();
    EXPECT_GE(session, before);
    EXPECT_LE(session, after);
    EXPECT_EQ(inspect(fresh).serverSessionID(), session);
}

TEST_F(IndicationManagerLifecycle, IdentifiesRunsOfDifferentSecondsByDifferentNumbers) {
    const ORVuint32 first = inspect(*manager).serverSessionID();
    while (static_cast<ORVuint32>(std::time(nullptr)) == first) {
        std::this_thread::yield();
    }
    CIndicationManager later(server);
    EXPECT_GT(inspect(later).serverSessionID(), first);
    EXPECT_EQ(inspect(*manager).serverSessionID(), first);
}

TEST_F(IndicationManagerLifecycle, FreesNothingTwice_WhenTheConstructorFails) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    std::size_t usual = 0;
    pthread_attr_getstacksize(&attributes, &usual);
    // No machine has this much address space to give, so that the delivery thread cannot be started.
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 60);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    EXPECT_THROW(CIndicationManager failing(server), OrvoBaseException);
    pthread_attr_setstacksize(&attributes, usual);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
}

#if defined(__x86_64__)
/// The number of a virtual operation in the primary table that every compiler of this platform lays out.
template <class Operation>
std::uintptr_t slotOf(Operation operation) {
    std::uintptr_t representation = 0;
    std::memcpy(&representation, &operation, sizeof representation);
    return (representation - 1) / sizeof(void*);
}

TEST(IndicationManagerInterface, KeepsTheOrderOfItsVirtualOperations) {
    using I = IIndicationManager;
    using ID = ORVSmrPtr<CSubscriberID>;
    using Value = ORVSmrPtr<IOrvoValue>;
    using Type = IOrvoIndication::IndicationType;
    using Name = ORVSmrPtr<IOrvoInstanceName>;
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
    using Text = const ORVString&;
    const std::uintptr_t slots[] = {
        slotOf(&ISubscriberManager::removeSubscriber),
        slotOf(&ISubscriberManager::checkSubscriberStatus),
        slotOf(&ISubscriberManager::getCurrentSubscribers),
        slotOf<bool (I::*)(ID, Name, Filter, Type, Text, Text, const bool&)>(&I::subscribe),
        slotOf<bool (I::*)(ID, Name, Filter, Type, const bool&)>(&I::unsubscribe),
        slotOf<bool (I::*)(ID, Value&, Value&, Value&, Type, Text, Text)>(&I::subscribe),
        slotOf<bool (I::*)(ID, Value&, Value&, Value&, Type)>(&I::unsubscribe),
        slotOf(&I::registerNotificationChannel),
        slotOf(&I::heartBeat),
        slotOf(&I::notify),
        slotOf(&I::addSubscriber),
        slotOf(&I::removeAllSubscribers),
        slotOf(&I::findSubscriber),
        slotOf(&I::dump),
        slotOf(&I::getSmartSubscriber),
        slotOf(&I::enableIndications),
        slotOf(&I::disableIndications),
        slotOf(&I::getIndicationsEnabled),
        slotOf(&I::getIndicationNotifier)};
    // The destructor takes the first two slots.
    std::uintptr_t expected = 2;
    for (const std::uintptr_t slot : slots) {
        EXPECT_EQ(slot, expected++);
    }
    EXPECT_EQ(slotOf(&IOrvoSubscriber::notify), 2u);
}
#endif

TEST_F(IndicationManagerLifecycle, IsNotChangedByInitialize) {
    ORVSmrPtr<CIndicationManager> self(new CIndicationManager(server));
    self->initialize(self);
    EXPECT_FALSE(self->getIndicationsEnabled());
    EXPECT_TRUE(self->getCurrentSubscribers()->isEmpty());
}

TEST_F(IndicationManagerLifecycle, HandsOutItselfAsOneObserver) {
    const ORVSmrPtr<IOrvoSubscriber> first = manager->getSmartSubscriber();
    const ORVSmrPtr<IOrvoSubscriber> second = manager->getSmartSubscriber();
    EXPECT_TRUE(first == second);
    EXPECT_EQ(first.Get(), static_cast<IOrvoSubscriber*>(manager.get()));
}

TEST_F(IndicationManagerLifecycle, ReceivesWhatItsObserverHandleIsTold) {
    subscribeClass(makeID(), "DataFile", IOrvoIndication::IndicationCreation);
    manager->getSmartSubscriber()->notify(
        makeIndication(makeObject(file), IOrvoIndication::IndicationCreation));
    EXPECT_EQ(takeQueued(makeID()).size(), 1u);
}

TEST_F(IndicationManagerLifecycle, LeavesHandlesThatReferToNothing_WhenDestroyed) {
    const ORVSmrPtr<IOrvoSubscriber> observer = manager->getSmartSubscriber();
    const ORVSmrPtr<ISubscriberManager> self = inspect(*manager).smartThis();
    const ORVSmrPtr<CIndicationNotifier> notifier = manager->getIndicationNotifier();
    ASSERT_FALSE(self.IsNull());

    manager.reset();

    EXPECT_TRUE(observer.IsNull());
    EXPECT_TRUE(self.IsNull());
    EXPECT_FALSE(notifier.IsNull());
    EXPECT_THROW(self->checkSubscriberStatus(), ORVNullPointerException);
}

}  // namespace
}  // namespace velm::test
