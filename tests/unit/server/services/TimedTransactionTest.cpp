#include "server/services/TimedTransaction.h"

#include "foundation/services/ORVLog.h"

#include <vector>

#include <gtest/gtest.h>

namespace velm {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TimedTransaction::Time fakeNow;

TimedTransaction::Time fakeClock() {
    return fakeNow;
}

class TimedTransactionTest : public testing::Test, public IORVLogObserver {
public:
    TimedTransactionTest() {
        fakeNow = {};
        ORVLog::setObserver(this);
    }
    ~TimedTransactionTest() override { ORVLog::setObserver(nullptr); }

protected:
    void onLog(const ORVLogRecord& record) noexcept override { records.push_back(record); }

    std::vector<ORVLogRecord> records;
};

TimedTransaction::Call plainCall() {
    return {"CIM_DataFile", "registerObserver", "", "", ""};
}

TEST_F(TimedTransactionTest, CountsDown) {
    TimedTransaction transaction(plainCall(), seconds(10), &fakeClock);
    EXPECT_EQ(transaction.getTimeLeft(), seconds(10));
    fakeNow += milliseconds(2500);
    EXPECT_EQ(transaction.getTimeLeft(), milliseconds(7500));
    fakeNow += seconds(100);
    EXPECT_EQ(transaction.getTimeLeft(), milliseconds(0));
}

TEST_F(TimedTransactionTest, HasNoLimit_WhenTheTimeoutIsZeroOrLess) {
    for (const int timeout : {0, -1, -600}) {
        TimedTransaction transaction(plainCall(), seconds(timeout), &fakeClock);
        fakeNow += seconds(100000);
        EXPECT_EQ(transaction.getTimeLeft(), milliseconds::max());
        transaction.release();
        EXPECT_EQ(transaction.getTimeLeft(), milliseconds(0));
    }
    EXPECT_TRUE(records.empty());
}

TEST_F(TimedTransactionTest, HasNoTimeLeft_WhenReleased) {
    TimedTransaction transaction(plainCall(), seconds(10), &fakeClock);
    EXPECT_FALSE(transaction.isReleased());
    transaction.release();
    EXPECT_TRUE(transaction.isReleased());
    EXPECT_EQ(transaction.getTimeLeft(), milliseconds(0));
}

TEST_F(TimedTransactionTest, WarnsOnce_WhenTheCallTookTooLong) {
    TimedTransaction transaction(plainCall(), seconds(10), &fakeClock);
    fakeNow += milliseconds(12345);
    transaction.release();
    transaction.release();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].component, "CIMOMTransaction::release");
    EXPECT_EQ(records[0].severity, OrvoTraceLog::SeverityWarning);
    EXPECT_EQ(records[0].message,
              "registerObserver for class CIM_DataFile took 12.345 s, longer than its time-out of 10 s");
}

TEST_F(TimedTransactionTest, NamesNamespaceAndClient_WhenGiven) {
    TimedTransaction transaction({"C", "getInstance", "root/cimv2", "anna", "192.0.2.7"}, seconds(1),
                                 &fakeClock);
    fakeNow += seconds(2);
    transaction.release();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].message,
              "getInstance for class C took 2.000 s, longer than its time-out of 1 s; namespace root/cimv2; "
              "client anna@192.0.2.7");
}

TEST_F(TimedTransactionTest, IsSilent_WhenTheCallTookExactlyItsTime) {
    TimedTransaction transaction(plainCall(), seconds(10), &fakeClock);
    fakeNow += seconds(10);
    transaction.release();
    EXPECT_TRUE(records.empty());
}

TEST_F(TimedTransactionTest, IsSilent_WhenAbandoned) {
    TimedTransaction transaction(plainCall(), seconds(10), &fakeClock);
    fakeNow += seconds(11);
    transaction.abandon();
    EXPECT_TRUE(transaction.isReleased());
    transaction.release();
    EXPECT_TRUE(records.empty());
}

}  // namespace
}  // namespace velm
