#include "foundation/services/ChangeInterest.h"

#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include <initializer_list>

#include <gtest/gtest.h>

using velm::ChangeInterest;

namespace {

ChangeInterest::Filter filterFor(std::initializer_list<const char*> properties) {
    ChangeInterest::Filter filter(new COrvoSubscriptionFilter);
    for (const char* property : properties) {
        filter->addProperty(property);
    }
    return filter;
}

TEST(ChangeInterest, CoversWhatWasAdded_UntilItIsTakenBackAsOften) {
    ChangeInterest interest;
    interest.add("a", nullptr);
    interest.add("a", nullptr);
    EXPECT_TRUE(interest.covers("a"));
    EXPECT_FALSE(interest.covers("b"));

    EXPECT_TRUE(interest.remove("a", nullptr));
    EXPECT_TRUE(interest.covers("a"));
    EXPECT_TRUE(interest.remove("a", nullptr));
    EXPECT_FALSE(interest.covers("a"));
    EXPECT_TRUE(interest.isEmpty());
    EXPECT_FALSE(interest.remove("a", nullptr));
}

TEST(ChangeInterest, CoversEverySubject_WhenEverythingWasAdded) {
    ChangeInterest interest;
    interest.add(ChangeInterest::everything, nullptr);
    EXPECT_TRUE(interest.covers("a"));
    interest.forget("a");
    EXPECT_TRUE(interest.covers("a"));
    EXPECT_TRUE(interest.remove(ChangeInterest::everything, nullptr));
    EXPECT_FALSE(interest.covers("a"));
}

TEST(ChangeInterest, CountsEachPropertyOnItsOwn) {
    ChangeInterest interest;
    interest.add("a", filterFor({"FileSize"}));
    interest.add("a", filterFor({"Readable", "LastModified"}));
    // Whoever subscribed twice takes back all three at once.
    EXPECT_TRUE(interest.remove("a", filterFor({"filesize", "READABLE", "LastModified"})));
    EXPECT_TRUE(interest.isEmpty());
}

TEST(ChangeInterest, KeepsUnfilteredInterest_WhenAFilteredOneIsTakenBack) {
    ChangeInterest interest;
    interest.add("a", nullptr);
    interest.add("a", filterFor({"FileSize"}));
    EXPECT_TRUE(interest.remove("a", filterFor({"FileSize"})));
    EXPECT_FALSE(interest.remove("a", filterFor({"FileSize"})));
    EXPECT_TRUE(interest.covers("a"));
}

TEST(ChangeInterest, ForgetsASubjectWhole) {
    ChangeInterest interest;
    interest.add("a", nullptr);
    interest.add("a", filterFor({"FileSize"}));
    interest.forget("a");
    EXPECT_TRUE(interest.isEmpty());
}

}  // namespace
