#include "foundation/services/CIMOMTransaction.h"

#include "tests/unit/server/services/QuietProvider.h"

#include <optional>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

class CIMOMTransactionTest : public testing::Test {
protected:
    velm::test::QuietProvider provider;
    std::optional<CIMOMTransaction> call{std::in_place,      provider, "", "CIM_DataFile",
                                         "registerObserver", "",       "", 600};
};

TEST_F(CIMOMTransactionTest, DescribesTheCall) {
    const ORVSmrPtr<IOrvoTransaction> transaction = call->getTransaction();
    EXPECT_EQ(transaction->getClassName(), "CIM_DataFile");
    EXPECT_EQ(transaction->getMethodName(), "registerObserver");
    EXPECT_EQ(&call->getProvider(), &provider);
    EXPECT_FALSE(transaction->isReleased());
    EXPECT_GT(transaction->getTimeLeft(), milliseconds(0));
    EXPECT_LE(transaction->getTimeLeft(), std::chrono::seconds(600));
}

TEST_F(CIMOMTransactionTest, TellsTheProvider_WhenReleased) {
    const ORVSmrPtr<IOrvoTransaction> transaction = call->getTransaction();
    call->release();
    call->release();
    EXPECT_TRUE(transaction->isReleased());
    EXPECT_EQ(transaction->getTimeLeft(), milliseconds(0));
}

TEST_F(CIMOMTransactionTest, TellsAProviderThatKeptTheHandle_WhenDestroyedWithoutRelease) {
    const ORVSmrPtr<IOrvoTransaction> transaction = call->getTransaction();
    call.reset();
    EXPECT_TRUE(transaction->isReleased());
    EXPECT_EQ(transaction->getClassName(), "CIM_DataFile");
}

TEST_F(CIMOMTransactionTest, HandsOutOneTransaction) {
    EXPECT_EQ(call->getTransaction(), call->getTransaction());
}

}  // namespace
