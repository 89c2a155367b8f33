#include "foundation/services/OrvoProviderInfo.h"

#include "tests/unit/server/services/QuietProvider.h"

#include <gtest/gtest.h>

namespace {

TEST(OrvoProviderInfo, KeepsNameAndProvider) {
    velm::test::QuietProvider provider;
    const OrvoProviderInfo info("file_watch", &provider);
    EXPECT_EQ(info.getName(), "file_watch");
    EXPECT_EQ(info.getProvider(), &provider);
}

TEST(OrvoProviderInfo, HasNoProvider_WhenItWasNotLoaded) {
    EXPECT_EQ(OrvoProviderInfo("file_watch", nullptr).getProvider(), nullptr);
}

}  // namespace
