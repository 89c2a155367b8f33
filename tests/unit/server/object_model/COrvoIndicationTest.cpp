#include "foundation/object_model/COrvoIndication.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using velm::test::instanceName;
using velm::test::names;
using velm::test::str;
using velm::test::value;
using Kind = IOrvoIndication::IndicationType;

ORVSmrPtr<IOrvoObject> file() {
    return ORVSmrPtr<IOrvoObject>(
        new COrvoObject("CIM_DataFile", instanceName("root:CIM_DataFile.Name=\"/a\"")));
}

COrvoIndication reported(Kind type, const ORVSmrPtr<IOrvoObject>& object = file()) {
    return {object, type, nullptr, nullptr, IOrvoIndication::IntentReport, nullptr, false};
}

const IOrvoIndication::ReportedKind& kindOf(const IOrvoIndication& indication) {
    return *static_cast<const IOrvoIndication::ReportedKind*>(indication.getContext());
}

TEST(Indication, KeepsWhatItWasGiven) {
    auto object = file();
    auto changed = names({"Size"});
    auto classes = names({"CIM_DataFile", "*"});
    COrvoIndication indication(object, IOrvoIndication::IndicationChange, changed, nullptr,
                               IOrvoIndication::IntentDeliver, classes, false);
    EXPECT_EQ(indication.getType(), IOrvoIndication::IndicationChange);
    EXPECT_EQ(indication.getIntent(), IOrvoIndication::IntentDeliver);
    EXPECT_EQ(indication.getObject(), object);
    EXPECT_EQ(indication.getChangedProperties(), changed);
    EXPECT_EQ(indication.getClassNames(), classes);
    EXPECT_EQ(indication.getRoutingScope(), 0U);
}

TEST(Indication, TakesRoutingScopeAndClassNames) {
    auto indication = reported(IOrvoIndication::IndicationChange);
    EXPECT_TRUE(indication.getClassNames().IsNull());
    auto classes = names({"*"});
    indication.setClassNames(classes);
    indication.setRoutingScope(IOrvoIndication::ScopeClassOnly);
    EXPECT_EQ(indication.getClassNames(), classes);
    EXPECT_EQ(indication.getRoutingScope(), 2U);
}

TEST(Indication, CarriesTheTimeOfTheReport) {
    auto before = std::chrono::system_clock::now();
    auto indication = reported(IOrvoIndication::IndicationChange);
    auto after = std::chrono::system_clock::now();
    EXPECT_LE(before, indication.getTime());
    EXPECT_GE(after, indication.getTime());
}

struct KindRow {
    Kind type;
    const char* exportClassName;
};

class IndicationKind : public testing::TestWithParam<KindRow> {};

TEST_P(IndicationKind, IsExportedAsItsClass) {
    auto indication = reported(GetParam().type);
    EXPECT_EQ(kindOf(indication).type, GetParam().type);
    EXPECT_STREQ(kindOf(indication).exportClassName, GetParam().exportClassName);
    EXPECT_EQ(&kindOf(indication), &COrvoIndication::reportedKindOf(GetParam().type));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, IndicationKind,
    testing::Values(KindRow{IOrvoIndication::IndicationInvalid, "CIM_InstIndication"},
                    KindRow{IOrvoIndication::IndicationChange, "CIM_InstModification"},
                    KindRow{IOrvoIndication::IndicationAddition, "VELM_InstAddition"},
                    KindRow{IOrvoIndication::IndicationRemoval, "VELM_InstRemoval"},
                    KindRow{IOrvoIndication::IndicationCreation, "CIM_InstCreation"},
                    KindRow{IOrvoIndication::IndicationDestruction, "CIM_InstDeletion"},
                    KindRow{IOrvoIndication::IndicationEnterRelationship, "VELM_InstEnterRelationship"},
                    KindRow{IOrvoIndication::IndicationLeaveRelationship, "VELM_InstLeaveRelationship"},
                    KindRow{IOrvoIndication::IndicationEnterAssociation, "VELM_InstEnterAssociation"},
                    KindRow{IOrvoIndication::IndicationLeaveAssociation, "VELM_InstLeaveAssociation"}));

TEST(Indication, CountsAsInvalid_WhenTheNumberIsNoKind) {
    EXPECT_EQ(COrvoIndication::reportedKindOf(static_cast<Kind>(3)).type, IOrvoIndication::IndicationInvalid);
    EXPECT_EQ(COrvoIndication::reportedKindOf(static_cast<Kind>(512)).type,
              IOrvoIndication::IndicationInvalid);
}

TEST(Indication, KeepsTheReportedKind_WhenDeliveredAsAnotherType) {
    auto incoming = reported(IOrvoIndication::IndicationCreation);
    COrvoIndication outgoing(incoming.getObject(), IOrvoIndication::IndicationEnterAssociation, nullptr,
                             incoming.getContext(), IOrvoIndication::IntentDeliver, nullptr, false);
    EXPECT_EQ(outgoing.getType(), IOrvoIndication::IndicationEnterAssociation);
    EXPECT_EQ(kindOf(outgoing).type, IOrvoIndication::IndicationCreation);
    EXPECT_EQ(str(outgoing.toString()),
              "EnterAssociation (reported Creation) of root:CIM_DataFile.Name=\"/a\"");
}

TEST(Indication, ReadsAsTypeAndInstanceName) {
    EXPECT_EQ(str(reported(IOrvoIndication::IndicationChange).toString()),
              "Change of root:CIM_DataFile.Name=\"/a\"");
}

TEST(Indication, StaysOnOneLine_WhateverTheKeysHold) {
    ORVSmrPtr<IOrvoInstanceName> name(new COrvoInstanceName("root", "A", "k", "a\r\nb\x7F\xC3\xA4"));
    ORVSmrPtr<IOrvoObject> object(new COrvoObject("A", name));
    EXPECT_EQ(str(reported(IOrvoIndication::IndicationChange, object).toString()),
              "Change of root:A.k=\"a\\x0d\\x0ab\\x7f\xC3\xA4\"");
}

TEST(Indication, ThrowsFromItsText_WhenObjectOrNameIsMissing) {
    auto bare = reported(IOrvoIndication::IndicationChange, nullptr);
    EXPECT_THROW(bare.toString(), ORVNullPointerException);
    ORVSmrPtr<IOrvoObject> nameless(new COrvoObject("A", nullptr));
    EXPECT_THROW(reported(IOrvoIndication::IndicationChange, nameless).toString(), ORVNullPointerException);
}

TEST(Indication, SharesOrCopiesTheObject) {
    ORVSmrPtr<COrvoObject> changing(new COrvoObject("A", instanceName("root:A")));
    changing->setProperty("x", value("old"));
    ORVSmrPtr<IOrvoObject> object;
    ForceCopySmrPtr(object, changing);
    COrvoIndication shares(object, IOrvoIndication::IndicationChange, nullptr, nullptr,
                           IOrvoIndication::IntentReport, nullptr, false);
    COrvoIndication copies(object, IOrvoIndication::IndicationChange, nullptr, nullptr,
                           IOrvoIndication::IntentReport, nullptr, true);
    changing->setProperty("x", value("new"));
    EXPECT_EQ(str(shares.getObject()->getProperty("x")->getValue()->getString()), "new");
    EXPECT_EQ(str(copies.getObject()->getProperty("x")->getValue()->getString()), "old");
}

TEST(Indication, MayHaveNoObject_EvenWhenItCopies) {
    COrvoIndication indication(nullptr, IOrvoIndication::IndicationChange, nullptr, nullptr,
                               IOrvoIndication::IntentReport, nullptr, true);
    EXPECT_TRUE(indication.getObject().IsNull());
}

TEST(Indication, IsMadeForDelivery_WithWhatWasReported) {
    auto incoming = ORVSmrPtr<COrvoIndication>(
        new COrvoIndication(file(), IOrvoIndication::IndicationCreation, names({"Size"}), nullptr,
                            IOrvoIndication::IntentReport, names({"CIM_DataFile"}), false));
    incoming->setRoutingScope(IOrvoIndication::ScopeClassOnly);
    incoming->setTime(std::chrono::system_clock::time_point(std::chrono::hours(1000)));
    const auto outgoing =
        COrvoIndication::makeDelivery(*incoming, IOrvoIndication::IndicationEnterAssociation);
    EXPECT_EQ(outgoing->getType(), IOrvoIndication::IndicationEnterAssociation);
    EXPECT_EQ(outgoing->getIntent(), IOrvoIndication::IntentDeliver);
    EXPECT_EQ(outgoing->getObject(), incoming->getObject());
    EXPECT_EQ(outgoing->getChangedProperties(), incoming->getChangedProperties());
    EXPECT_EQ(outgoing->getContext(), incoming->getContext());
    EXPECT_EQ(outgoing->getTime(), incoming->getTime());
    EXPECT_EQ(outgoing->getRoutingScope(), 0U);
    EXPECT_TRUE(outgoing->getClassNames().IsNull());
    const auto classes = names({"*"});
    outgoing->setClassNames(classes);
    EXPECT_EQ(outgoing->getClassNames(), classes);
}

TEST(Indication, AnswersLentClassNames_UntilOthersAreSet) {
    static const auto& everlasting = *new ORVSmrPtr<ORVValSlist<ORVString>>(names({"CIM_File", "*"}));
    auto indication = reported(IOrvoIndication::IndicationChange);
    const auto own = names({"*"});
    indication.setClassNames(own);
    indication.lendClassNames(everlasting);
    EXPECT_EQ(indication.getClassNames(), everlasting);
    indication.setClassNames(own);
    EXPECT_EQ(indication.getClassNames(), own);
}

TEST(Indication, LendsClassNames_WhileOthersReadThem) {
    static const auto& everlasting = *new ORVSmrPtr<ORVValSlist<ORVString>>(names({"*"}));
    auto indication = reported(IOrvoIndication::IndicationChange);
    const std::jthread lender([&indication] {
        for (int round = 0; round < 1000; ++round) {
            indication.lendClassNames(everlasting);
        }
    });
    for (int round = 0; round < 1000; ++round) {
        const auto classes = indication.getClassNames();
        ASSERT_TRUE(classes.IsNull() || classes == everlasting);
    }
}

TEST(Indication, TakesClassNames_WhileOthersReadThem) {
    auto indication = reported(IOrvoIndication::IndicationChange);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&indication] {
            for (int round = 0; round < 1000; ++round) {
                indication.setClassNames(names({"*"}));
            }
        });
        threads.emplace_back([&indication] {
            for (int round = 0; round < 1000; ++round) {
                const auto classes = indication.getClassNames();
                ASSERT_TRUE(classes.IsNull() || classes->entries() == 1);
            }
        });
    }
}

}  // namespace
