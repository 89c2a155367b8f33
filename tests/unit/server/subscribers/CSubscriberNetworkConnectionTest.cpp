#include "foundation/subscribers/CSubscriberNetworkConnection.h"

#include "tests/unit/server/subscribers/TcpPair.h"

#include <gtest/gtest.h>

namespace {

using velm::test::TcpPair;

TEST(SubscriberNetworkConnection, HasOneStreamOverItsTransport) {
    TcpPair pair;
    const auto connection = pair.takeConnection();
    const auto stream = connection->getOutputStream();
    EXPECT_TRUE(stream == connection->getOutputStream());
    EXPECT_EQ(&stream->getTransport(), connection->getTransport().Get());
}

TEST(SubscriberNetworkConnection, ClosesSocket_WhenItGoes) {
    TcpPair pair;
    pair.takeConnection();
    EXPECT_TRUE(pair.seesEnd());
}

TEST(SubscriberNetworkConnection, IsClosed_WhenThisSideHasClosedIt) {
    TcpPair pair;
    const auto connection = pair.takeConnection();
    EXPECT_FALSE(connection->isClosed());
    connection->getTransport()->close();
    EXPECT_TRUE(connection->isClosed());
}

}  // namespace
