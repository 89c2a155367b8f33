#include "tests/support/ExportedIndication.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <string>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The daemon as its clients see it: a real process, real requests, a real listener.

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class VelmdIndication : public testing::Test {
protected:
    VelmdIndication() {
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_SmallItem", "EX_Item")}}).status(),
                  0);
    }

    WBEMClient::Parameters subscription(const std::string& type, const std::string& aClass) const {
        return WBEMClient::subscriber(listener.port()) +
               WBEMClient::Parameters{{"IndicationType", value(type)}, {"ClassName", className(aClass)}};
    }

    void subscribe(const std::string& type, const std::string& aClass) {
        const WBEMAnswer answer = client.call("Subscribe", subscription(type, aClass));
        ASSERT_TRUE(answer.has("<VALUE>TRUE</VALUE>")) << answer.body;
    }

    void create(const std::string& aClass, const std::string& id) {
        const WBEMAnswer answer = client.call("CreateInstance", {{"NewInstance", itemInstance(aClass, id)}});
        ASSERT_EQ(answer.status(), 0) << answer.body;
    }

    void modify(const std::string& aClass, const std::string& id, const std::string& caption) {
        const WBEMAnswer answer =
            client.call("ModifyInstance",
                        {{"ModifiedInstance", namedItem(aClass, id, itemInstance(aClass, id, caption))}});
        ASSERT_EQ(answer.status(), 0) << answer.body;
    }

    void remove(const std::string& aClass, const std::string& id) {
        const WBEMAnswer answer = client.call("DeleteInstance", {{"InstanceName", itemName(aClass, id)}});
        ASSERT_EQ(answer.status(), 0) << answer.body;
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
    ScriptedListener listener{goodAnswer()};
    WBEMClient client{velmd.port()};
};

}  // namespace

TEST_F(VelmdIndication, ReachesAListener_WhenInstancesAreCreatedAndDeleted) {
    subscribe("Creation", "EX_Item");
    create("EX_Item", "1");
    create("EX_SmallItem", "2");
    remove("EX_Item", "1");
    ASSERT_TRUE(listener.waitForRequests(3));
    EXPECT_THAT(receivedBy(listener),
                ElementsAre(ExportedIndication{"Creation", itemPath("EX_Item", "1"), ""},
                            ExportedIndication{"Creation", itemPath("EX_SmallItem", "2"), ""},
                            ExportedIndication{"Destruction", itemPath("EX_Item", "1"), ""}));
}

TEST_F(VelmdIndication, NamesTheChangedProperties_WhenAnInstanceIsModified) {
    subscribe("Change", "EX_Item");
    create("EX_Item", "1");
    modify("EX_Item", "1", "new");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_THAT(receivedBy(listener),
                ElementsAre(ExportedIndication{"Change", itemPath("EX_Item", "1"), "Caption"}));
}

TEST_F(VelmdIndication, IsNotSent_WhenNothingChanged) {
    subscribe("Change", "EX_Item");
    create("EX_Item", "1");
    modify("EX_Item", "1", "c");
    modify("EX_Item", "1", "d");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_EQ(receivedBy(listener).size(), 1U);
}

TEST_F(VelmdIndication, ReachesAListener_WhateverTheLetterCaseOfNames) {
    subscribe("change", "ex_item");
    const std::string name =
        "<INSTANCENAME CLASSNAME=\"ex_ITEM\"><KEYBINDING "
        "NAME=\"ID\"><KEYVALUE>1</KEYVALUE></KEYBINDING></INSTANCENAME>";
    const WBEMClient::Parameters one =
        WBEMClient::subscriber(listener.port(), 2) +
        WBEMClient::Parameters{{"IndicationType", value("CHANGE")}, {"InstanceName", name}};
    ASSERT_TRUE(client.call("Subscribe", one).has("TRUE"));
    ASSERT_EQ(client.call("createinstance", {{"newinstance", itemInstance("ex_item", "1")}}).status(), 0);
    modify("EX_ITEM", "1", "other");
    ASSERT_TRUE(listener.waitForRequests(2));
    const ExportedIndication expected{"Change", itemPath("EX_Item", "1"), "Caption"};
    EXPECT_THAT(receivedBy(listener), ElementsAre(expected, expected));
}

TEST_F(VelmdIndication, IsNoLongerSent_WhenTheSubscriptionWasTakenBack) {
    subscribe("Change", "EX_Item");
    subscribe("Creation", "EX_Item");
    ASSERT_TRUE(client.call("Unsubscribe", subscription("Change", "EX_Item")).has("<VALUE>TRUE</VALUE>"));
    create("EX_Item", "1");
    modify("EX_Item", "1", "new");
    create("EX_Item", "2");
    ASSERT_TRUE(listener.waitForRequests(2));
    EXPECT_THAT(receivedBy(listener),
                ElementsAre(ExportedIndication{"Creation", itemPath("EX_Item", "1"), ""},
                            ExportedIndication{"Creation", itemPath("EX_Item", "2"), ""}));
    EXPECT_TRUE(client.call("Unsubscribe", subscription("Change", "EX_Item")).has("<VALUE>FALSE</VALUE>"));
}

TEST_F(VelmdIndication, TellsOfAssociations_WhenTheirInstancesComeAndGo) {
    const std::string reference =
        "<PROPERTY.REFERENCE NAME=\"Antecedent\" REFERENCECLASS=\"EX_Item\">"
        "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>"
        "<PROPERTY.REFERENCE NAME=\"Dependent\" REFERENCECLASS=\"EX_Item\">"
        "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY.REFERENCE>";
    ASSERT_EQ(
        client
            .call("CreateClass", {{"NewClass",
                                   "<CLASS NAME=\"EX_Pair\"><QUALIFIER NAME=\"Association\" TYPE=\"boolean\">"
                                   "<VALUE>TRUE</VALUE></QUALIFIER>" +
                                       reference + "</CLASS>"}})
            .status(),
        0);
    const WBEMClient::Parameters ends{{"EndOne", className("EX_Item")},
                                      {"EndTwo", itemName("EX_SmallItem", "2")}};
    ASSERT_TRUE(client.call("Subscribe", subscription("Addition", "EX_Pair") + ends).has("TRUE"));
    const auto end = [](const std::string& name, const std::string& target) {
        return "<PROPERTY.REFERENCE NAME=\"" + name + "\"><VALUE.REFERENCE>" + target +
               "</VALUE.REFERENCE></PROPERTY.REFERENCE>";
    };
    const auto pair = [&](const std::string& first, const std::string& second) {
        return "<INSTANCE CLASSNAME=\"EX_Pair\">" + end("Antecedent", first) + end("Dependent", second) +
               "</INSTANCE>";
    };
    for (const std::string& second : {itemName("EX_SmallItem", "3"), itemName("EX_SmallItem", "2")}) {
        ASSERT_EQ(
            client.call("CreateInstance", {{"NewInstance", pair(itemName("EX_Item", "1"), second)}}).status(),
            0);
    }
    ASSERT_TRUE(listener.waitForRequests(1));
    const auto received = receivedBy(listener);
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].kind, "Creation");
    EXPECT_THAT(received[0].path, testing::HasSubstr("EX_SmallItem.Id=\\\"2\\\""));
}

TEST_F(VelmdIndication, ArrivesOnAChannel_ThatTheClientKeepsOpen) {
    ResponseSocket channel(velmd.port());
    channel.send(client.request("RegisterNotificationChannel", WBEMClient::subscriber("1", 9)));
    const WBEMAnswer opened = channel.next();
    EXPECT_EQ(opened.httpStatus, 200U);
    EXPECT_TRUE(opened.has("<RETURNVALUE TYPE=\"uint32\">\n<VALUE>")) << opened.body;
    EXPECT_TRUE(opened.body.ends_with("</RETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
    const WBEMClient::Parameters wanted =
        WBEMClient::subscriber("1", 9) +
        WBEMClient::Parameters{{"IndicationType", value("Creation")}, {"ClassName", className("EX_Item")}};
    ASSERT_TRUE(client.call("Subscribe", wanted).has("TRUE"));
    EXPECT_EQ(client.call("HeartBeat", WBEMClient::subscriber("1", 9)).status(), 0);
    create("EX_Item", "1");
    EXPECT_EQ(ExportedIndication::read(channel.next().body).path, itemPath("EX_Item", "1"));
}

TEST_F(VelmdIndication, IsDeliveredBeforeTheDaemonEnds_WhenItIsTerminated) {
    subscribe("Creation", "EX_Item");
    for (int number = 0; number < 50; ++number) {
        create("EX_Item", std::to_string(number));
    }
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_EQ(receivedBy(listener).size(), 50U);
    EXPECT_THAT(velmd.log(), testing::HasSubstr("Stopped; nothing was left undone."));
}

TEST(VelmdDescriptors, AreAsManyAsTheSystemAllows_HoweverFewItStartsWith) {
    const TemporaryDirectory directory;
    const VelmdProcess velmd(directory.path(), {}, {"/usr/bin/prlimit", "--nofile=256:4096"});
    rlimit limit{};
    ASSERT_EQ(::prlimit(velmd.id(), RLIMIT_NOFILE, nullptr, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 4096U);
    EXPECT_TRUE(
        velmd.waitForLog("too few for Limits.MaxConnections = 20000: at most 3846 connections are taken."));
}
