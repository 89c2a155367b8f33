#include "foundation/subscribers/CSubscriberID.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

TEST(SubscriberID, IsEqual_WhenOnlyLetterCaseOfHostDiffers) {
    const CSubscriberID one("Listener.example", "5990", 7);
    const CSubscriberID other("listener.EXAMPLE", "5990", 7);
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
}

TEST(SubscriberID, Differs_WhenAnyPartDiffers) {
    const CSubscriberID id("host", "5990", 7);
    for (const CSubscriberID& other : {CSubscriberID("other", "5990", 7), CSubscriberID("host", "5991", 7),
                                       CSubscriberID("host", "5990", 8), CSubscriberID("hos", "t5990", 7)}) {
        EXPECT_FALSE(id == other) << other.toString();
        EXPECT_TRUE(id != other) << other.toString();
    }
}

TEST(SubscriberID, ShowsHostPortAndSession) {
    EXPECT_EQ(CSubscriberID("127.0.0.1", "5990", 4294967295U).toString(),
              ORVString("127.0.0.1:5990 (4294967295)"));
    EXPECT_EQ(CSubscriberID("::1", "80", 0).toString(), ORVString("::1:80 (0)"));
}

TEST(SubscriberID, KeepsItsParts) {
    const CSubscriberID id("Host", "5990", 7);
    EXPECT_EQ(id.getHostName(), ORVString("Host"));
    EXPECT_EQ(id.getPortNumber(), ORVString("5990"));
    EXPECT_EQ(id.getSessionID(), 7U);
}

TEST(SubscriberID, HashesAlike_WhenEqual) {
    const CSubscriberID one("Listener.example", "5990", 7);
    EXPECT_EQ(hashKeySubscriberID(one), hashKeySubscriberID(CSubscriberID("listener.EXAMPLE", "5990", 7)));
    const CSubscriberID unnamed(ORVString(), ORVString(), 0);
    ASSERT_TRUE(unnamed == CSubscriberID("", "", 0));
    EXPECT_EQ(hashKeySubscriberID(unnamed), hashKeySubscriberID(CSubscriberID("", "", 0)));
}

TEST(SubscriberID, HashesApart_WhenAnyPartDiffers) {
    std::set<std::uint32_t> hashes;
    for (std::uint32_t session = 0; session < 1000; ++session) {
        hashes.insert(hashKeySubscriberID(CSubscriberID("host", "5990", session)));
        hashes.insert(
            hashKeySubscriberID(CSubscriberID("host", std::string_view(std::to_string(session)), 7000)));
        hashes.insert(hashKeySubscriberID(
            CSubscriberID(std::string_view("10.0.0." + std::to_string(session)), "5990", 7000)));
    }
    EXPECT_GT(hashes.size(), 2990U);
}

}  // namespace
