#include "velmctl/commands/SubscriptionOptions.h"

#include "velmctl/client/ClientError.h"
#include "velmctl/commands/CommandLineMistake.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::ElementsAre;

namespace {

std::vector<Subscription> from(const SubscriptionOptions& options) {
    return options.subscriptions([] { return std::vector<std::string>{"R1", "R2"}; });
}

}  // namespace

TEST(SubscriptionOptions, MeanChangesAndCreationsOfEveryClass_WhenNothingIsSaid) {
    EXPECT_THAT(from({}), ElementsAre(Subscription{"Change", "R1", {}, {}, {}},
                                      Subscription{"Change", "R2", {}, {}, {}},
                                      Subscription{"Creation", "", {}, {}, {}}));
}

TEST(SubscriptionOptions, MakeOneForEachEventAndClass) {
    SubscriptionOptions options;
    options.classes = {"A", "B"};
    options.events = {"Destruction", "Change", "Change"};
    EXPECT_THAT(from(options), ElementsAre(Subscription{"Destruction", "A", {}, {}, {}},
                                           Subscription{"Destruction", "B", {}, {}, {}},
                                           Subscription{"Change", "A", {}, {}, {}},
                                           Subscription{"Change", "B", {}, {}, {}}));
}

TEST(SubscriptionOptions, MeanChangesOnly_WhenAnInstanceOrAPropertyIsNamed) {
    SubscriptionOptions options;
    options.instance = "root/x:A.k=\"1\"";
    options.properties = {"P"};
    EXPECT_THAT(from(options), ElementsAre(Subscription{"Change", options.instance, {"P"}, {}, {}}));
    EXPECT_TRUE(options.shows("Change"));
}

TEST(SubscriptionOptions, MeanAdditionsAndRemovals_WhenEndsAreNamed) {
    SubscriptionOptions options;
    options.endOne = "A";
    options.endTwo = "B";
    EXPECT_THAT(from(options), ElementsAre(Subscription{"Addition", "", {}, "A", "B"},
                                           Subscription{"Removal", "", {}, "A", "B"}));
}

TEST(SubscriptionOptions, HideTheTwinOfWhatWasWanted) {
    SubscriptionOptions options;
    options.events = {"Creation"};
    EXPECT_TRUE(options.shows("Creation"));
    EXPECT_FALSE(options.shows("Destruction"));
    EXPECT_TRUE(options.shows("Change"));
    options.events = {"EnterAssociation"};
    EXPECT_TRUE(options.shows("Creation"));
}

TEST(SubscriptionOptions, AreRefused_WhenTheyDoNotFitTogether) {
    SubscriptionOptions noEnds;
    noEnds.events = {"Addition"};
    SubscriptionOptions needlessEnds;
    needlessEnds.events = {"Change"};
    needlessEnds.endOne = "A";
    SubscriptionOptions both;
    both.instance = "A.k=1";
    both.classes = {"A"};
    SubscriptionOptions propertyOfCreation;
    propertyOfCreation.events = {"Creation"};
    propertyOfCreation.properties = {"P"};
    for (const auto& options : {noEnds, needlessEnds, both, propertyOfCreation}) {
        EXPECT_THROW(from(options), CommandLineMistake);
    }
}

TEST(Subscription, BecomesParameters) {
    const Subscription change{"Change", R"(root/x:A.k="1")", {"P&Q"}, {}, {}};
    const auto parameters = change.parameters();
    ASSERT_EQ(parameters.size(), 3U);
    EXPECT_EQ(parameters[0].second, "<VALUE>Change</VALUE>");
    EXPECT_EQ(parameters[1].first, "InstanceName");
    EXPECT_THAT(parameters[1].second, testing::HasSubstr("<KEYBINDING NAME=\"k\">"));
    EXPECT_EQ(parameters[2].second, "<VALUE.ARRAY><VALUE>P&amp;Q</VALUE></VALUE.ARRAY>");
    EXPECT_THROW((Subscription{"Change", "A.k", {}, {}, {}}.parameters()), ClientError);
}
