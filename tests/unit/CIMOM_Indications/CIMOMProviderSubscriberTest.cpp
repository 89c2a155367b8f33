#include "CIMOM_Indications/CIMOMProviderSubscriber.h"

#include "tests/support/ModelBuilders.h"

#include <gtest/gtest.h>

namespace {

/// Counts what it is told, and tells when it goes.
class CountingSubscriber : public IOrvoSubscriber {
public:
    CountingSubscriber(int& notified, bool& destroyed) : _notified(notified), _destroyed(destroyed) {}
    ~CountingSubscriber() override { _destroyed = true; }

    bool notify(ORVSmrPtr<IOrvoIndication>) override {
        ++_notified;
        return false;
    }

private:
    int& _notified;
    bool& _destroyed;
};

TEST(ProviderSubscriber, AnswersTrueAndTellsNobody) {
    int notified = 0;
    bool destroyed = false;
    const ORVSmrPtr<IOrvoSubscriber> inner(new CountingSubscriber(notified, destroyed));
    CCIMOMProviderSubscriber subscriber(inner);
    EXPECT_TRUE(subscriber.notify(
        velm::test::makeIndication(velm::test::makeObject("CIM_File"), IOrvoIndication::IndicationCreation)));
    EXPECT_TRUE(subscriber.notify(nullptr));
    EXPECT_EQ(notified, 0);
}

TEST(ProviderSubscriber, DoesNotKeepWhatItIsGiven) {
    int notified = 0;
    bool destroyed = false;
    const CCIMOMProviderSubscriber subscriber(
        ORVSmrPtr<IOrvoSubscriber>(new CountingSubscriber(notified, destroyed)));
    EXPECT_TRUE(destroyed);
}

}  // namespace
