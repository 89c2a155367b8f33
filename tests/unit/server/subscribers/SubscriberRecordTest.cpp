#include "foundation/subscribers/SubscriberRecord.h"

#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/server/subscribers/Setting.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace velm::test {
namespace {

using namespace std::chrono_literals;
using Time = SubscriberRecord::Time;

const Time start{std::chrono::sys_days{std::chrono::year{2026} / 11 / 20}};

ORVSmrPtr<IOrvoIndication> event() {
    return makeIndication(makeObject("CIM_DataFile", "1"), IOrvoIndication::IndicationCreation);
}

class SubscriberRecordTest : public testing::Test {
protected:
    SubscriberRecord record{start};
};

TEST_F(SubscriberRecordTest, TellsNothing_BeforeAnythingHappened) {
    const auto figures = record.figures();
    EXPECT_EQ(figures.since, start);
    EXPECT_EQ(figures.delivered, 0U);
    EXPECT_FALSE(figures.lastDelivery);
    EXPECT_FALSE(figures.lastHeartbeat);
    EXPECT_FALSE(figures.lastFailure);
    EXPECT_FALSE(figures.lastImproperAnswer);
    EXPECT_FALSE(figures.lastDrop);
    EXPECT_FALSE(figures.isFailing);
}

TEST_F(SubscriberRecordTest, CountsDeliveries_AndKeepsTheTimeOfTheLast) {
    record.noteDelivery(start + 1s);
    record.noteDelivery(start + 2s);
    EXPECT_EQ(record.figures().delivered, 2U);
    EXPECT_EQ(record.figures().lastDelivery, start + 2s);
}

TEST_F(SubscriberRecordTest, CountsFailuresInARow_WithTheLastText) {
    record.noteFailure("connection refused", start + 1s);
    record.noteFailure("timed out", start + 2s);
    const auto figures = record.figures();
    EXPECT_EQ(figures.failed, 2U);
    EXPECT_TRUE(figures.isFailing);
    ASSERT_TRUE(figures.lastFailure);
    EXPECT_EQ(figures.lastFailure->text, "timed out");
    EXPECT_EQ(figures.lastFailure->since, start + 1s);
    EXPECT_EQ(figures.lastFailure->last, start + 2s);
    EXPECT_EQ(figures.lastFailure->count, 2U);
}

TEST_F(SubscriberRecordTest, KeepsTheFailure_AndFailsNoMore_OnceSomethingIsDelivered) {
    record.noteFailure("connection refused", start + 1s);
    record.noteDelivery(start + 2s);
    EXPECT_FALSE(record.figures().isFailing);
    EXPECT_EQ(record.figures().lastFailure->count, 1U);
    record.noteFailure("connection refused", start + 3s);
    const auto figures = record.figures();
    EXPECT_EQ(figures.failed, 2U);
    EXPECT_EQ(figures.lastFailure->since, start + 3s) << "a new row";
    EXPECT_EQ(figures.lastFailure->count, 1U);
}

TEST_F(SubscriberRecordTest, CountsImproperAnswersAsDelivered_InRowsOfTheirOwn) {
    record.noteFailure("connection refused", start + 1s);
    record.noteImproperAnswer("answered with return value 5", start + 2s);
    record.noteImproperAnswer("answered with return value 5", start + 3s);
    auto figures = record.figures();
    EXPECT_EQ(figures.delivered, 2U);
    EXPECT_EQ(figures.improperAnswers, 2U);
    EXPECT_FALSE(figures.isFailing);
    EXPECT_EQ(figures.lastFailure->text, "connection refused");
    EXPECT_EQ(figures.lastImproperAnswer->count, 2U);
    EXPECT_EQ(figures.lastImproperAnswer->since, start + 2s);
    record.noteDelivery(start + 4s);
    record.noteImproperAnswer("answered with return value 6", start + 5s);
    figures = record.figures();
    EXPECT_EQ(figures.lastImproperAnswer->count, 1U);
    EXPECT_EQ(figures.lastImproperAnswer->text, "answered with return value 6");
    EXPECT_EQ(figures.improperAnswers, 3U);
}

TEST_F(SubscriberRecordTest, TellsTheLastDropWithItsRule) {
    record.noteDropped(DropRule::earlierOneFailed, 12, start, start + 1s);
    auto figures = record.figures();
    EXPECT_EQ(figures.droppedBehind, 12U);
    EXPECT_EQ(figures.lastDrop->text, "12 dropped because an earlier one failed");
    EXPECT_EQ(figures.lastDrop->count, 12U);
    record.noteDropped(DropRule::queueFull, 3, start + 2s, start + 4s);
    figures = record.figures();
    EXPECT_EQ(figures.droppedBehind, 12U) << "a full queue is counted elsewhere";
    EXPECT_EQ(figures.lastDrop->text, "3 dropped because the queue was full");
    EXPECT_EQ(figures.lastDrop->since, start + 2s);
    EXPECT_EQ(figures.lastDrop->last, start + 4s);
}

TEST_F(SubscriberRecordTest, CutsLongTexts_NotInsideACharacter) {
    record.noteFailure(std::string(SubscriberRecord::longestText - 1, 'a') + "\xC3\xA4 and more", start);
    EXPECT_EQ(record.figures().lastFailure->text, std::string(SubscriberRecord::longestText - 1, 'a'));
    record.noteFailure(std::string(SubscriberRecord::longestText, 'b'), start);
    EXPECT_EQ(record.figures().lastFailure->text, std::string(SubscriberRecord::longestText, 'b'));
}

TEST_F(SubscriberRecordTest, CountsSubscriptionsUpAndDown_NeverBelowZero) {
    record.noteSubscribed();
    record.noteSubscribed();
    record.noteUnsubscribed();
    EXPECT_EQ(record.figures().subscriptions, 1U);
    record.noteUnsubscribed();
    record.noteUnsubscribed();
    EXPECT_EQ(record.figures().subscriptions, 0U);
}

TEST(RecordOfASubscriber, KeepsTheLastHeartbeat) {
    const auto subscriber = makeSubscriber();
    EXPECT_FALSE(subscriber->record()->figures().lastHeartbeat);
    const Time before = Time::clock::now();
    subscriber->updateTimeStamp();
    EXPECT_GE(subscriber->record()->figures().lastHeartbeat, before);
}

TEST(RecordOfASubscriber, TellsThatTheQueueIsFull_AndHowMuchThatCost) {
    const Setting bound("MaxQueuedIndications", "2");
    LogCapture log;
    const auto subscriber = makeSubscriber();
    for (int count = 0; count < 5; ++count) {
        subscriber->notify(event());
    }
    auto drop = subscriber->record()->figures().lastDrop;
    ASSERT_TRUE(drop);
    EXPECT_EQ(drop->text, "the queue is full, the oldest are dropped");
    const Time since = drop->since;
    EXPECT_EQ(takeIndications(subscriber).size(), 2U);
    drop = subscriber->record()->figures().lastDrop;
    EXPECT_EQ(drop->text, "3 dropped because the queue was full");
    EXPECT_EQ(drop->since, since);
    EXPECT_EQ(drop->count, 3U);
}

TEST(RecordOfASubscriber, NotesWhatIsTakenAfterTheRemoval) {
    const auto subscriber = makeSubscriber();
    subscriber->notify(event());
    subscriber->notify(event());
    EXPECT_EQ(subscriber->record()->takenLate(), 0U);
    EXPECT_EQ(subscriber->abandonQueue(), 2U);
    takeIndications(subscriber);
    EXPECT_EQ(subscriber->record()->takenLate(), 2U);
}

TEST(RecordOfASubscriber, OutlivesIt) {
    auto subscriber = makeSubscriber();
    subscriber->record()->noteFailure("connection refused", start);
    const auto record = subscriber->record();
    subscriber = nullptr;
    EXPECT_EQ(record->figures().lastFailure->text, "connection refused");
}

}  // namespace
}  // namespace velm::test
